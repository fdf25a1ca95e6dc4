import QtQuick
import Murmora

// A 540 × 675 card shown at 240 × 300 in a rounded frame.
Item {
    default property alias card: holder.data

    implicitWidth: 240
    implicitHeight: 300

    Item {
        id: holder
        width: 540
        height: 675
        scale: 240 / 540
        transformOrigin: Item.TopLeft
        layer.enabled: true
        layer.smooth: true
    }
    Rectangle {
        anchors.fill: parent
        color: "transparent"
        radius: 10
        border.width: 2
        border.color: Theme.tint(Theme.primary, 0.12)
    }
}
