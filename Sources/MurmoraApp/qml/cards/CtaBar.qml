import QtQuick
import QtQuick.Layouts
import Murmora

// The call to action at the foot of a card.
Rectangle {
    implicitHeight: row.implicitHeight + 28
    radius: 14
    color: CardStyle.accent

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 20
        anchors.rightMargin: 20
        CardText {
            text: "Get yours free"
            font.pixelSize: 15
            font.weight: Font.DemiBold
            color: "white"
        }
        Item { Layout.fillWidth: true }
        CardText {
            text: Desktop.siteAddress
            font.pixelSize: 14
            font.weight: Font.Medium
            color: "white"
        }
    }
}
