import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The group's card, and a button that sends it to the group (or copies it where Messages cannot be asked).
ColumnLayout {
    id: section

    property string name
    property groupStats stats
    property var participants: []

    spacing: 0

    SectionHeader {
        title: "Share with the group"
    }
    RowLayout {
        spacing: 10
        CardPreview {
            GroupCardCanvas {
                name: section.name
                stats: section.stats
            }
        }
        ColumnLayout {
            Layout.maximumWidth: 280
            Layout.alignment: Qt.AlignTop
            spacing: 10
            Label {
                Layout.fillWidth: true
                text: "One tap opens Messages with the card attached — everyone sees their rank, and the argument starts itself."
                font.pixelSize: 12
                color: Theme.secondary
                wrapMode: Text.WordWrap
            }
            ProminentButton {
                objectName: "sendToGroup"
                text: "Send to the group"
                onClicked: section.send()
            }
            FlashNote {
                id: note
                Layout.fillWidth: true
            }
        }
    }

    function send() {
        const outcome = ShareCompose.sendCard("GroupCardCanvas {}", { name: section.name, stats: section.stats },
                                              section.participants, true)
        if (outcome === ShareCompose.Opened)
            note.flash("Opening Messages…")
        else if (outcome === ShareCompose.Copied)
            note.flash("Copied — paste it into the chat")
    }
}
