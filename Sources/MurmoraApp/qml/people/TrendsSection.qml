import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// What the two talk about, messages per month and warmth per month; a tap on a month asks the coach.
ColumnLayout {
    id: section
    objectName: "trendsSection"

    property string handle
    property var months: []
    readonly property var warm: months.filter(point => point.warmth !== undefined)

    spacing: 18

    function refresh() {
        months = AppState.insights.trends(handle)
    }
    function askCoach(index) {
        const month = months[index].month
        AppState.coachSelection = handle
        AppState.coachAsk = "What changed between us around " + Fmt.wideMonthYear(month)
                            + "? Look at what we actually said."
        AppState.tab = AppState.Coach
    }

    PersonTrendsController {
        id: trends
        state: AppState
        handle: section.handle
        // Reads the months (into the shared cache, which tells us through trendsChanged) and the topics.
        Component.onCompleted: {
            load()
            section.refresh()
        }
    }
    Connections {
        target: AppState.insights
        function onTrendsChanged(changed) {
            if (changed === section.handle)
                section.refresh()
        }
    }

    Label {
        visible: trends.loading && section.months.length === 0
        text: "Charting your history…"
        font.pixelSize: 13
        color: Theme.secondary
    }
    ColumnLayout {
        Layout.fillWidth: true
        visible: trends.topics.length > 0
        spacing: 0
        SectionHeader {
            title: "What you talk about"
        }
        Flow {
            Layout.fillWidth: true
            spacing: 8
            Repeater {
                model: trends.topics
                delegate: Rectangle {
                    required property string modelData
                    implicitWidth: word.implicitWidth + 20
                    implicitHeight: word.implicitHeight + 10
                    radius: height / 2
                    color: Theme.groupFill
                    Label {
                        id: word
                        anchors.centerIn: parent
                        text: parent.modelData
                        color: Theme.primary
                    }
                }
            }
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        visible: section.months.length > 0
        spacing: 0
        SectionHeader {
            title: "Over time"
        }
        Card {
            Layout.fillWidth: true
            ColumnLayout {
                width: parent.width
                spacing: 8
                Label {
                    text: "Messages per month"
                    font.pixelSize: 12
                    color: Theme.secondary
                }
                LineChart {
                    objectName: "monthlyChart"
                    Layout.fillWidth: true
                    Layout.preferredHeight: 110
                    values: section.months.map(point => point.count)
                    labels: section.months.map(point => Fmt.monthYear(point.month))
                    onMonthTapped: index => section.askCoach(index)
                }
                Label {
                    visible: section.warm.length >= 2
                    Layout.topMargin: 8
                    text: "Warmth"
                    font.pixelSize: 12
                    color: Theme.secondary
                }
                LineChart {
                    objectName: "warmthChart"
                    visible: section.warm.length >= 2
                    Layout.fillWidth: true
                    Layout.preferredHeight: 70
                    values: section.warm.map(point => point.warmth)
                    labels: section.warm.map(point => Fmt.monthYear(point.month))
                    minimum: Math.min(0, ...values) - 0.1
                    maximum: Math.max(0, ...values) + 0.1
                    rule: 0
                    ruleLabel: "Neutral"
                    onMonthTapped: index => section.askCoach(section.months.indexOf(section.warm[index]))
                }
                Label {
                    visible: section.warm.length >= 2
                    text: "Tap a month to ask the coach what happened"
                    font.pixelSize: 11
                    color: Theme.secondary
                }
            }
        }
    }
}
