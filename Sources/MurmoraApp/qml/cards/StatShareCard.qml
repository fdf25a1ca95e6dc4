import QtQuick
import QtQuick.Layouts
import Murmora

// One figure as a card, 540 by 675.
CardFrame {
    id: card

    property string value
    property string line
    property string extra

    width: 540
    height: 675

    CardText {
        objectName: "statValue"
        Layout.fillWidth: true
        Layout.preferredHeight: 86
        text: card.value
        font.pixelSize: 72
        font.weight: Font.Bold
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: 36
        verticalAlignment: Text.AlignVCenter
    }
    CardText {
        Layout.fillWidth: true
        Layout.topMargin: 12
        text: card.line
        font.pixelSize: 18
        wrapMode: Text.WordWrap
    }
    CardText {
        objectName: "statExtra"
        Layout.fillWidth: true
        Layout.topMargin: 8
        visible: card.extra !== ""
        text: card.extra
        font.pixelSize: 15
        color: CardStyle.secondary
        wrapMode: Text.WordWrap
    }
}
