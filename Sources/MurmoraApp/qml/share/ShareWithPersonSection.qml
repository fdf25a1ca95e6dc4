import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The card of the user and one person, and a button that sends it to them.
ColumnLayout {
    id: section

    property personInsights person
    property string name

    spacing: 0

    PersonCardFacts {
        id: facts
        handleID: section.person.handleID
    }

    SectionHeader {
        title: "Share this with " + section.name
    }
    RowLayout {
        spacing: 10
        CardPreview {
            DuoCardCanvas {
                name: section.name
                person: section.person
                topics: facts.topics
                doubleTexts: facts.doubleTexts
            }
        }
        ColumnLayout {
            Layout.maximumWidth: 280
            Layout.alignment: Qt.AlignTop
            spacing: 10
            Label {
                Layout.fillWidth: true
                text: "One tap opens Messages with the card attached — your numbers together, one send away."
                font.pixelSize: 12
                color: Theme.secondary
                wrapMode: Text.WordWrap
            }
            ProminentButton {
                objectName: "sendToPerson"
                text: "Send to " + section.name
                onClicked: section.send()
            }
            FlashNote {
                id: note
                Layout.fillWidth: true
            }
        }
    }

    function send() {
        const outcome = ShareCompose.sendCard("DuoCardCanvas {}", {
            name: section.name, person: section.person, topics: facts.topics, doubleTexts: facts.doubleTexts
        }, [section.person.handleID], false)
        if (outcome === ShareCompose.Opened)
            note.flash("Opening Messages…")
        else
            ShareCompose.textPerson(section.person.handleID, section.name, facts.topics, 0)
    }
}
