import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The screen's one AI action: an honest read of the relationship, after consent, every time.
ColumnLayout {
    id: section
    objectName: "deepDiveSection"

    property string handle
    property string name

    visible: AppState.aiAvailable
    spacing: 10

    DeepDiveController {
        id: dive
        state: AppState
        handle: section.handle
    }
    ConsentSheet {
        id: consent
        objectName: "deepDiveConsent"
        title: "Send this conversation to Claude?"
        scope: "The last 200 messages between you and " + section.name + " will be sent securely to Claude to write this analysis — never stored or logged. Only this one conversation, only this once."
        onAccepted: dive.run()
    }

    SectionHeader {
        title: "Understand this relationship"
    }
    RowLayout {
        visible: dive.running
        spacing: 8
        BusyIndicator {
            Layout.preferredWidth: 18
            Layout.preferredHeight: 18
            running: dive.running
        }
        Label {
            text: "Reading your history with " + section.name + "…"
            font.pixelSize: 13
            color: Theme.secondary
        }
    }
    ColumnLayout {
        visible: !dive.running && dive.hasResult
        Layout.fillWidth: true
        spacing: 10
        DeepDiveResult {
            Layout.fillWidth: true
            markdown: dive.resultText
        }
        RowLayout {
            spacing: 10
            Label {
                text: dive.staleness
                font.pixelSize: 12
                color: Theme.secondary
            }
            Button {
                text: "Re-analyze"
                flat: true
                font.pixelSize: 12
                onClicked: consent.open()
            }
        }
    }
    Card {
        visible: !dive.running && !dive.hasResult
        Layout.fillWidth: true
        ColumnLayout {
            width: parent.width
            spacing: 8
            Label {
                text: "Deep Dive"
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.primary
            }
            Label {
                Layout.fillWidth: true
                text: "An honest read of your dynamic with " + section.name + ": how conflict looks, where the relationship is heading, and what's unresolved — grounded in your actual messages."
                font.pixelSize: 13
                color: Theme.secondary
                wrapMode: Text.WordWrap
            }
            ProminentButton {
                objectName: "analyzeWithAI"
                text: "Analyze with AI"
                onClicked: consent.open()
            }
        }
    }
    Label {
        visible: dive.errorText !== "" && !dive.capHit
        Layout.fillWidth: true
        text: dive.errorText
        font.pixelSize: 12
        color: Theme.danger
        wrapMode: Text.WordWrap
    }
    FreeTierLimitNote {
        visible: dive.capHit
        Layout.fillWidth: true
    }
}
