import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

ApplicationWindow {
    id: window
    width: 900
    height: 620
    visible: true
    title: "Murmora"

    readonly property var phaseTitles: ({
        [AppState.CheckingAccess]: "Checking access\u2026",
        [AppState.NeedsAccess]: "Murmora needs to read your Messages",
        [AppState.Learning]: "Learning how you text",
        [AppState.Ready]: "Ready",
        [AppState.Failed]: "Something went wrong"
    })

    Component.onCompleted: {
        AppState.checkAccess()
        AppState.checkForUpdates()
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 560)
        spacing: 14

        Label {
            objectName: "phaseTitle"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: window.phaseTitles[AppState.phase]
            font.pixelSize: 28
            font.weight: Font.DemiBold
            wrapMode: Text.WordWrap
        }

        Label {
            objectName: "phaseDetail"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            opacity: 0.75
            font.pixelSize: 15
            text: {
                switch (AppState.phase) {
                case AppState.NeedsAccess:
                    return "Murmora reads Library/Messages/chat.db in your home folder. On a Mac, give it Full Disk Access in System Settings \u203a Privacy & Security."
                case AppState.Learning:
                    return AppState.learningFact
                case AppState.Ready:
                    return AppState.threadCount + " people \u00b7 " + AppState.messageCount + " messages"
                case AppState.Failed:
                    return AppState.failureText
                default:
                    return ""
                }
            }
        }

        BusyIndicator {
            Layout.alignment: Qt.AlignHCenter
            running: AppState.phase === AppState.Learning || AppState.phase === AppState.CheckingAccess
            visible: running
        }

        Button {
            Layout.alignment: Qt.AlignHCenter
            visible: AppState.phase === AppState.Failed || AppState.phase === AppState.NeedsAccess
            text: "Try Again"
            onClicked: AppState.checkAccess()
        }
    }
}
