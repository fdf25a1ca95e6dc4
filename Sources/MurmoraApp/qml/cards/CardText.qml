import QtQuick
import Murmora

// Text on a card: the card's ink unless told otherwise, never the system palette.
Text {
    color: CardStyle.ink
    font.pixelSize: 15
    textFormat: Text.PlainText
}
