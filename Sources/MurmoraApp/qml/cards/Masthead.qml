import QtQuick
import QtQuick.Layouts
import Murmora

// The top of a card: the app's icon beside the title and "by Murmora".
RowLayout {
    id: masthead

    property string title: CardStyle.title

    spacing: 12

    CoachLogo {
        size: 40
    }
    ColumnLayout {
        spacing: 1
        CardText {
            text: masthead.title
            font.pixelSize: 22
            font.weight: Font.Bold
        }
        CardText {
            text: "by Murmora"
            font.pixelSize: 13
            color: CardStyle.secondary
        }
    }
}
