import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The first-run screen. On a Mac it asks for Full Disk Access; elsewhere it says where to copy the Messages
// database. While it shows it looks for the database every 1.5 s and goes on by itself once it opens.
ColumnLayout {
    objectName: "onboardingView"
    spacing: 0

    Timer {
        objectName: "accessPoll"
        interval: 1500
        repeat: true
        running: true
        onTriggered: {
            if (AppState.databaseReadable())
                Qt.callLater(AppState.checkAccess)
        }
    }

    Item { Layout.fillHeight: true }
    SymbolIcon {
        Layout.alignment: Qt.AlignHCenter
        name: "text.bubble.fill"
        size: 44
        color: Theme.accent
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 22
        text: "Welcome to Murmora"
        font.pixelSize: Theme.largeTitle
        font.weight: Font.Bold
        color: Theme.primary
        Accessible.role: Accessible.Heading
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6
        text: "See what your texts say about you."
        font.pixelSize: 15
        color: Theme.secondary
    }
    ColumnLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: 420
        Layout.preferredWidth: 420
        Layout.topMargin: 36
        Layout.bottomMargin: 36
        spacing: 14
        FeatureRow {
            Layout.fillWidth: true
            symbol: "person.text.rectangle"
            title: "Your writing profile"
            detail: "Reply speed, message length, your signature laugh — learned from your own iMessage history."
        }
        FeatureRow {
            Layout.fillWidth: true
            symbol: "person.2"
            title: "Every relationship, decoded"
            detail: "How you shift with each person: who starts, who waits, who double-texts."
        }
        FeatureRow {
            Layout.fillWidth: true
            symbol: "sparkles"
            title: "Your year, wrapped"
            detail: "A shareable recap of your texting year, built on demand."
        }
    }
    ProminentButton {
        objectName: "grantAccess"
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: 220 + leftPadding + rightPadding
                text: Desktop.isMac ? "Grant Full Disk Access" : "Open the Messages folder"
        onClicked: Desktop.openAccessSettings()
    }
    Button {
        objectName: "relaunch"
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10
        flat: true
        font.pixelSize: 12
        text: Desktop.isMac ? "Relaunch after granting" : "Check again"
        onClicked: Desktop.isMac ? Desktop.relaunch() : AppState.checkAccess()
        contentItem: Label {
            text: parent.text
            font: parent.font
            color: Theme.secondary
        }
        background: null
    }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: 480
        Layout.topMargin: 22
        Layout.bottomMargin: 28
        spacing: 6
        SymbolIcon {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 2
            name: "lock.fill"
            size: 10
            color: Theme.secondary
        }
        Label {
            objectName: "accessExplanation"
            Layout.fillWidth: true
            Layout.maximumWidth: 480
            font.pixelSize: 11
            color: Theme.secondary
            wrapMode: Text.WordWrap
            text: Desktop.isMac
                  ? "Murmora runs entirely on this Mac. Your messages are never uploaded. macOS asks for Full Disk Access so Murmora can read your own Messages database — toggle on “Murmora”, then return here."
                  : "Murmora runs entirely on this computer. Your messages are never uploaded. It reads the Messages database of a Mac: copy chat.db, chat.db-wal and chat.db-shm from ~/Library/Messages on your Mac into " + Desktop.messagesFolder() + " here, and Murmora starts by itself."
        }
    }
}
