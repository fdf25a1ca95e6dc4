import QtQuick
import QtQuick.Controls
import QtQuick.Shapes
import Murmora

// Values by month as a line over a filled area, with an optional dashed rule at `rule`. A tap reports the
// nearest month. Drawn with Qt Quick Shapes: Qt Charts would need a widgets application for one chart.
Item {
    id: chart

    // One value per month, oldest first; labels are the months' names for the axis.
    property var values: []
    property var labels: []
    property var rule: undefined
    property string ruleLabel
    // Every so many month labels, so that they never run into each other.
    readonly property int labelStep: Math.max(1, Math.ceil(labels.length * 58 / Math.max(1, width)))
    property real minimum: Math.min(0, ...values, rule === undefined ? 0 : rule)
    property real maximum: Math.max(...values, rule === undefined ? 0 : rule, minimum + 1)
    property color color: Theme.accent
    signal monthTapped(int index)

    readonly property real plotHeight: height - axis.height - 4
    implicitHeight: 140

    function xAt(index) {
        return values.length < 2 ? width / 2 : index * width / (values.length - 1)
    }
    function yAt(value) {
        return plotHeight - (value - minimum) / (maximum - minimum) * plotHeight
    }
    function nearestIndex(x) {
        if (values.length < 2)
            return values.length - 1
        return Math.max(0, Math.min(values.length - 1, Math.round(x / width * (values.length - 1))))
    }
    readonly property var linePoints: values.map((v, i) => Qt.point(xAt(i), yAt(v)))

    Shape {
        anchors.fill: parent
        ShapePath {
            strokeColor: "transparent"
            fillColor: Theme.tint(chart.color, 0.14)
            PathPolyline {
                path: [Qt.point(chart.xAt(0), chart.plotHeight)].concat(chart.linePoints,
                       [Qt.point(chart.xAt(chart.values.length - 1), chart.plotHeight)])
            }
        }
        ShapePath {
            strokeColor: chart.color
            strokeWidth: 2
            fillColor: "transparent"
            joinStyle: ShapePath.RoundJoin
            PathPolyline { path: chart.linePoints }
        }
        ShapePath {
            strokeColor: chart.rule === undefined ? "transparent" : Theme.tertiary
            strokeWidth: 1
            strokeStyle: ShapePath.DashLine
            dashPattern: [4, 4]
            fillColor: "transparent"
            startX: 0
            startY: chart.rule === undefined ? 0 : chart.yAt(chart.rule)
            PathLine { x: chart.width; y: chart.rule === undefined ? 0 : chart.yAt(chart.rule) }
        }
    }
    Repeater {
        model: chart.values.length
        delegate: Rectangle {
            required property int index
            x: chart.xAt(index) - 3
            y: chart.yAt(chart.values[index]) - 3
            width: 6
            height: 6
            radius: 3
            color: chart.color
        }
    }
    Item {
        id: axis
        anchors.bottom: parent.bottom
        width: parent.width
        height: 14
        Repeater {
            model: chart.labels
            delegate: Label {
                required property string modelData
                required property int index
                visible: index % chart.labelStep === 0
                x: Math.max(0, Math.min(chart.width - width, chart.xAt(index) - width / 2))
                text: modelData
                font.pixelSize: 10
                color: Theme.tertiary
            }
        }
    }
    Label {
        visible: chart.rule !== undefined && chart.ruleLabel !== ""
        anchors.right: parent.right
        y: chart.rule === undefined ? 0 : chart.yAt(chart.rule) - height - 1
        text: chart.ruleLabel
        font.pixelSize: 10
        color: Theme.tertiary
    }
    TapHandler {
        onTapped: point => chart.monthTapped(chart.nearestIndex(point.position.x))
    }
}
