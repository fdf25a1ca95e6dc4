import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The user's own page: the conversations waiting on them, their people, how they write and when.
ScrollView {
    id: view
    objectName: "profileView"

    readonly property var stats: AppState.stats
    readonly property string firstName: Desktop.userFullName.trim().split(/\s+/)[0]

    contentWidth: availableWidth
    clip: true

    WritingDNA {
        id: dna
    }

    ColumnLayout {
        x: 28
        width: view.availableWidth - 56
        spacing: 18

        Item { implicitHeight: 10 }
        ColumnLayout {
            spacing: 4
            Label {
                objectName: "profileTitle"
                text: view.firstName ? view.firstName + "'s profile" : "Your profile"
                font.pixelSize: Theme.largeTitle
                font.weight: Font.Bold
                color: Theme.primary
                Accessible.role: Accessible.Heading
            }
            Label {
                Layout.fillWidth: true
                text: "Learned from " + Fmt.thousands(view.stats.totalMessages) + " messages with " + view.stats.peopleCount
                      + " people over the last year. Your archetype lives in Wrapped."
                font.pixelSize: 13
                color: Theme.secondary
                wrapMode: Text.WordWrap
            }
        }
        PrioritySection {
            Layout.fillWidth: true
        }
        YourPeopleSection {
            Layout.fillWidth: true
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            SectionHeader {
                title: "Writing DNA"
            }
            GridLayout {
                objectName: "writingDNA"
                Layout.fillWidth: true
                columns: view.availableWidth > 760 ? 3 : 2
                columnSpacing: 12
                rowSpacing: 12
                Repeater {
                    model: dna.tiles(view.stats)
                    delegate: StatTile {
                        required property var modelData
                        Layout.fillWidth: true
                        Layout.preferredWidth: 1
                        Layout.fillHeight: true
                        label: modelData.label
                        value: modelData.value
                        context: modelData.context
                    }
                }
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            SectionHeader {
                title: "When you text"
            }
            Card {
                Layout.fillWidth: true
                HourHistogram {
                    width: parent.width
                    counts: view.stats.myHourlyHistogram
                    peak: view.stats.peakHour === undefined ? -1 : view.stats.peakHour
                }
            }
        }
        Item { implicitHeight: 18 }
    }
}
