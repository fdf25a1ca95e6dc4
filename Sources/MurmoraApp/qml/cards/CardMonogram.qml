import QtQuick
import Murmora

Rectangle {
    property string text
    property real size: 34

    implicitWidth: size
    implicitHeight: size
    radius: size / 2
    color: Qt.rgba(CardStyle.accent.r, CardStyle.accent.g, CardStyle.accent.b, 0.13)

    CardText {
        objectName: "cardMonogramLetter"
        anchors.centerIn: parent
        text: Fmt.monogram(parent.text)
        font.pixelSize: parent.size * 0.44
        font.weight: Font.DemiBold
        color: CardStyle.accent
    }
}
