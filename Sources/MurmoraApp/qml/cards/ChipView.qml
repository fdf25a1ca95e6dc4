import QtQuick
import Murmora

// A word on a capsule.
Rectangle {
    property alias text: label.text

    implicitWidth: label.implicitWidth + 28
    implicitHeight: label.implicitHeight + 16
    radius: height / 2
    color: CardStyle.chip

    CardText {
        id: label
        anchors.centerIn: parent
        font.pixelSize: 15
        font.weight: Font.Medium
    }
}
