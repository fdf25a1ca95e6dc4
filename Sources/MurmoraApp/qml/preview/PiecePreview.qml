import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// One piece of a screen in a window of its own, for `murmora-cli screens`: the thread pane of a person, the
// person picker open on a query, a consent sheet, and the shared components with both notes.
ApplicationWindow {
    id: window

    property string show
    property string handleID
    // Which person a person's page shows, by rank: 0 the busiest.
    property int personIndex: 0

    visible: true
    color: Theme.background
    // Controls take the application's palette, light or dark, whatever the style's own defaults are.
    palette.window: Theme.palette.window
    palette.windowText: Theme.palette.windowText
    palette.base: Theme.palette.base
    palette.alternateBase: Theme.palette.alternateBase
    palette.text: Theme.palette.text
    palette.button: Theme.palette.button
    palette.buttonText: Theme.palette.buttonText
    palette.highlight: Theme.palette.highlight
    palette.highlightedText: Theme.palette.highlightedText
    palette.placeholderText: Theme.palette.placeholderText
    palette.mid: Theme.palette.mid
    palette.toolTipBase: Theme.palette.base
    palette.toolTipText: Theme.palette.text

    Loader {
        anchors.fill: parent
        sourceComponent: window.show === "threadPane" ? threadPane
                       : window.show === "personPicker" ? personPicker
                       : window.show === "consentSheet" ? consentSheet
                       : window.show === "shareSections" ? shareSections
                       : window.show === "personDetail" ? personDetail : components
    }

    Component {
        id: threadPane
        ThreadPane {
            handleID: window.handleID
            name: AppState.name(window.handleID)
        }
    }
    Component {
        id: personPicker
        Item {
            PersonPicker {
                x: 16
                y: 12
                selection: window.handleID
                Component.onCompleted: {
                    showPopover = true
                    query = AppState.name(window.handleID).slice(0, 2)
                }
            }
        }
    }
    Component {
        id: consentSheet
        Item {
            ConsentSheet {
                title: "Analyze with AI?"
                scope: "Murmora will send a sample of up to 400 of your messages with " + AppState.name(window.handleID) + " to the AI model to write this analysis."
                Component.onCompleted: open()
            }
        }
    }
    Component {
        id: shareSections
        ColumnLayout {
            spacing: 18
            YourPeopleSection {
                Layout.margins: 20
                Layout.fillWidth: true
            }
            Repeater {
                model: FirstRowsModel {
                    limit: 1
                    sourceModel: AppState.people
                }
                delegate: ShareWithPersonSection {
                    Layout.leftMargin: 20
                    Layout.rightMargin: 20
                    person: model.person
                    name: model.name
                }
            }
            Item { Layout.fillHeight: true }
        }
    }
    Component {
        id: personDetail
        Repeater {
            model: FirstRowsModel {
                limit: window.personIndex + 1
                sourceModel: AppState.people
            }
            delegate: PersonDetailView {
                visible: index === window.personIndex
                width: window.width
                height: window.height
                person: model.person
                name: model.name
                showThread: true
            }
        }
    }
    Component {
        id: components
        ScrollView {
            contentWidth: availableWidth
            ColumnLayout {
                width: parent.width - 40
                spacing: 16
                x: 20
                Item { implicitHeight: 4 }
                SectionHeader { title: "Shared components" }
                RowLayout {
                    Layout.maximumWidth: window.width - 40
                    spacing: 12
                    StatTile {
                        Layout.fillWidth: true
                        label: "Messages"
                        value: Fmt.thousands(AppState.messageCount)
                        context: "with " + AppState.threadCount + " people"
                        highlight: true
                    }
                    StatTile {
                        Layout.fillWidth: true
                        label: "Reply speed"
                        value: Fmt.replySpeed(AppState.stats.myMedianReplySeconds)
                        context: Fmt.ratioChip(0.8, "faster", "slower", "than your usual")
                    }
                    StatTile {
                        Layout.fillWidth: true
                        label: "A long figure"
                        value: "1,234,567,890 texts"
                    }
                }
                BalanceBar {
                    Layout.preferredWidth: 420
                    mine: 0.62
                    myLabel: "You 62%"
                    theirLabel: "38% them"
                }
                BalanceBar {
                    Layout.preferredWidth: 420
                    mine: 0
                    myLabel: "You 0%"
                    theirLabel: "100% them"
                }
                HourHistogram {
                    Layout.preferredWidth: 420
                    counts: AppState.stats.myHourlyHistogram
                    peak: AppState.stats.peakHour === undefined ? -1 : AppState.stats.peakHour
                }
                RowLayout {
                    spacing: 10
                    Monogram { text: AppState.name(window.handleID); size: 28 }
                    Monogram { text: "  "; size: 28 }
                    Monogram { text: "éclair"; size: 20 }
                    CoachLogo { size: 28 }
                    ThreadPaneToggle { isOn: true }
                    ThreadPaneToggle { isOn: false }
                }
                LineChart {
                    Layout.preferredWidth: 420
                    Layout.preferredHeight: 140
                    values: [12, 30, 22, 45, 38, 60, 41]
                    labels: ["May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov"]
                }
                LineChart {
                    Layout.preferredWidth: 420
                    Layout.preferredHeight: 120
                    values: [0.2, -0.1, 0.35, 0.1]
                    labels: ["Aug", "Sep", "Oct", "Nov"]
                    rule: 0
                }
                FreeTierLimitNote { Layout.maximumWidth: 420 }
                AIUnavailableNote { Layout.maximumWidth: 420 }
            }
        }
    }
}
