import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// My share of something between two people, as a bar with both labels under it.
ColumnLayout {
    id: bar

    property real mine: 0
    property string myLabel
    property string theirLabel

    spacing: 6
    Accessible.name: myLabel + ", " + theirLabel

    Rectangle {
        id: track
        Layout.fillWidth: true
        implicitHeight: 6
        radius: 3
        color: Theme.tint(Theme.primary, 0.12)

        Rectangle {
            objectName: "balanceMine"
            height: parent.height
            radius: 3
            color: Theme.accent
            width: Math.max(4, track.width * Math.min(1, Math.max(0, bar.mine || 0)))
        }
    }
    RowLayout {
        Layout.fillWidth: true
        Label {
            text: bar.myLabel
            font.pixelSize: 12
            color: Theme.secondary
        }
        Item { Layout.fillWidth: true }
        Label {
            text: bar.theirLabel
            font.pixelSize: 12
            color: Theme.secondary
        }
    }
}
