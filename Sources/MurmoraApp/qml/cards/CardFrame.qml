import QtQuick
import QtQuick.Layouts
import Murmora

// A card's frame: white, padded 36, the masthead with a caption at the top, the content between two flexible
// gaps of at least 14, and the call to action at the foot.
Rectangle {
    id: frame

    property string caption
    default property alias content: body.data

    color: CardStyle.surface

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 36
        spacing: 0

        Masthead {}
        CardText {
            objectName: "cardCaption"
            Layout.topMargin: 22
            text: frame.caption
            font.pixelSize: 14
            color: CardStyle.secondary
        }
        Item {
            Layout.fillHeight: true
            Layout.minimumHeight: 14
        }
        ColumnLayout {
            id: body
            Layout.fillWidth: true
            spacing: 0
        }
        Item {
            Layout.fillHeight: true
            Layout.minimumHeight: 14
        }
        CtaBar {
            Layout.fillWidth: true
        }
    }
}
