import QtQuick
import QtQuick.Layouts
import Murmora

// A big figure, a line about it and an aside.
ColumnLayout {
    id: hero

    property string hero
    property int heroSize: 84
    property string line
    property string aside

    spacing: 14

    CardText {
        objectName: "cardHero"
        Layout.fillWidth: true
        Layout.preferredHeight: hero.heroSize * 1.2
        text: hero.hero
        font.pixelSize: hero.heroSize
        font.weight: Font.Bold
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: hero.heroSize / 2
        verticalAlignment: Text.AlignVCenter
    }
    CardText {
        Layout.fillWidth: true
        text: hero.line
        font.pixelSize: 18
        wrapMode: Text.WordWrap
    }
    CardText {
        text: hero.aside
        color: CardStyle.secondary
    }
}
