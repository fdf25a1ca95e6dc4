import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Texts per hour of the day, the peak hour in full accent.
ColumnLayout {
    id: histogram

    property var counts: []
    property int peak: -1
    readonly property int maxCount: counts.length ? Math.max(...counts) : 0

    spacing: 4

    Row {
        id: bars
        Layout.fillWidth: true
        Layout.preferredHeight: 52
        spacing: 3

        Repeater {
            model: histogram.counts.length
            delegate: Item {
                id: slot
                required property int index
                readonly property int count: histogram.counts[index]
                width: (bars.width - bars.spacing * (histogram.counts.length - 1)) / histogram.counts.length
                height: 52
                Accessible.role: Accessible.StaticText
                Accessible.name: tip.text

                Rectangle {
                    objectName: "hourBar"
                    anchors.bottom: parent.bottom
                    width: parent.width
                    height: Math.max(2, histogram.maxCount > 0 ? slot.count / histogram.maxCount * 52 : 0)
                    radius: 1.5
                    color: slot.index === histogram.peak ? Theme.accent : Theme.tint(Theme.accent, 0.45)
                }
                HoverHandler { id: hover }
                ToolTip {
                    id: tip
                    visible: hover.hovered
                    text: Fmt.hourLabel(slot.index) + ": " + slot.count + " texts"
                }
            }
        }
    }
    RowLayout {
        Layout.fillWidth: true
        Repeater {
            model: ["12 AM", "Noon", "11 PM"]
            delegate: Label {
                required property string modelData
                required property int index
                Layout.fillWidth: true
                horizontalAlignment: index === 0 ? Text.AlignLeft : index === 1 ? Text.AlignHCenter : Text.AlignRight
                text: modelData
                font.pixelSize: 11
                color: Theme.tertiary
            }
        }
    }
}
