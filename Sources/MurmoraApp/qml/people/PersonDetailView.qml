import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// One person: how the two of you text, how it moved, what you talk about, the deep dive, the coach and the
// card; the conversation itself beside it on demand.
RowLayout {
    id: view
    objectName: "personDetailView"

    property personInsights person
    property string name
    property bool showThread: false
    signal back

    spacing: 0

    Dynamic {
        id: dynamic
    }

    ScrollView {
        id: scroll
        objectName: "personScroll"
        Layout.fillWidth: true
        Layout.fillHeight: true
        contentWidth: availableWidth
        clip: true

        // Bring a section into view.
        function showDeepDive() {
            contentItem.contentY = Math.max(0, deepDive.y - 20)
        }
        function showTrends() {
            contentItem.contentY = Math.max(0, trendsSection.y - 20)
        }

        ColumnLayout {
            x: 28
            width: scroll.availableWidth - 56
            spacing: 18

            RowLayout {
                Layout.topMargin: 14
                Layout.fillWidth: true
                AbstractButton {
                    objectName: "backToPeople"
                    hoverEnabled: true
                    Accessible.name: "All people"
                    onClicked: view.back()
                    contentItem: RowLayout {
                        spacing: 4
                        SymbolIcon {
                            name: "chevron.left"
                            size: 12
                            color: Theme.accent
                        }
                        Label {
                            text: "All people"
                            font.pixelSize: 12
                            font.weight: Font.DemiBold
                            color: Theme.accent
                        }
                    }
                }
                Item { Layout.fillWidth: true }
                ThreadPaneToggle {
                    isOn: view.showThread
                    onIsOnChanged: view.showThread = isOn
                }
            }
            ColumnLayout {
                spacing: 4
                Label {
                    text: view.name
                    font.pixelSize: Theme.largeTitle
                    font.weight: Font.Bold
                    color: Theme.primary
                    Accessible.role: Accessible.Heading
                }
                Label {
                    text: "Texting since " + Fmt.wideMonthYear(view.person.firstMessage)
                    font.pixelSize: 12
                    color: Theme.secondary
                }
                Label {
                    readonly property string headline: AppState.headline(view.person.handleID, view.name)
                    Layout.fillWidth: true
                    Layout.topMargin: 6
                    visible: headline !== ""
                    text: headline
                    font.pixelSize: 14
                    font.weight: Font.Medium
                    color: Theme.primary
                    wrapMode: Text.WordWrap
                }
            }
            BalanceBar {
                Layout.fillWidth: true
                mine: view.person.balance
                myLabel: "You · " + Fmt.thousands(view.person.sentCount)
                theirLabel: view.name + " · " + Fmt.thousands(view.person.receivedCount)
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                SectionHeader {
                    title: "The dynamic"
                }
                GridLayout {
                    objectName: "dynamicTiles"
                    Layout.fillWidth: true
                    columns: scroll.availableWidth > 760 ? 3 : 2
                    columnSpacing: 12
                    rowSpacing: 12
                    Repeater {
                        model: dynamic.tiles(view.person, view.name)
                        delegate: StatTile {
                            required property var modelData
                            Layout.fillWidth: true
                            Layout.preferredWidth: 1
                            Layout.fillHeight: true
                            label: modelData.label
                            value: modelData.value
                            context: modelData.context
                            highlight: modelData.highlight
                        }
                    }
                }
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                SectionHeader {
                    title: "When you two talk"
                }
                Card {
                    Layout.fillWidth: true
                    HourHistogram {
                        width: parent.width
                        counts: view.person.myHourlyHistogram
                    }
                }
            }
            TrendsSection {
                id: trendsSection
                Layout.fillWidth: true
                handle: view.person.handleID
            }
            DeepDiveSection {
                id: deepDive
                Layout.fillWidth: true
                handle: view.person.handleID
                name: view.name
            }
            CoachButton {
                handle: view.person.handleID
                name: view.name
            }
            ShareWithPersonSection {
                Layout.fillWidth: true
                Layout.bottomMargin: 24
                person: view.person
                name: view.name
            }
        }
    }
    Rectangle {
        visible: view.showThread
        Layout.fillHeight: true
        implicitWidth: 1
        color: Theme.separator
        opacity: 0.4
    }
    Loader {
        active: view.showThread
        visible: active
        Layout.fillHeight: true
        Layout.preferredWidth: 360
        sourceComponent: ThreadPane {
            handleID: view.person.handleID
            name: view.name
        }
    }
}
