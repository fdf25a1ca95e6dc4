import QtQuick
import QtQuick.Layouts
import Murmora

// The user and one person, 540 by 675: how long, how much, the figures of the two of them, their words.
Rectangle {
    id: card

    property string name
    property personInsights person
    property var topics: []
    property int doubleTexts: 0
    property var tiles: ShareCompose.duoTiles(person.handleID, name, doubleTexts)

    width: 540
    height: 675
    color: CardStyle.surface

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 36
        spacing: 0

        Masthead {}
        CardText {
            Layout.fillWidth: true
            Layout.topMargin: 22
            Layout.preferredHeight: 42
            text: "You & " + card.name
            font.pixelSize: 34
            font.weight: Font.Bold
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: 20
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
        }
        CardText {
            Layout.topMargin: 3
            text: "Texting since " + Fmt.wideMonthYear(card.person.firstMessage)
            font.pixelSize: 14
            color: CardStyle.secondary
        }
        RowLayout {
            Layout.topMargin: 22
            spacing: 8
            CardText {
                Layout.alignment: Qt.AlignBaseline
                text: Fmt.thousands(card.person.total)
                font.pixelSize: 58
                font.weight: Font.Bold
            }
            CardText {
                Layout.alignment: Qt.AlignBaseline
                text: "messages"
                font.pixelSize: 19
                font.weight: Font.DemiBold
                color: CardStyle.secondary
            }
        }
        GridLayout {
            objectName: "duoTiles"
            Layout.fillWidth: true
            Layout.topMargin: 18
            columns: 2
            columnSpacing: 10
            rowSpacing: 10
            Repeater {
                model: card.tiles
                delegate: Rectangle {
                    required property var modelData
                    objectName: "duoTile"
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    implicitHeight: tile.implicitHeight + 24
                    radius: 12
                    color: CardStyle.chip
                    ColumnLayout {
                        id: tile
                        x: 14
                        y: 12
                        width: parent.width - 28
                        spacing: 2
                        CardText {
                            Layout.fillWidth: true
                            text: modelData.value
                            font.pixelSize: 24
                            font.weight: Font.Bold
                            fontSizeMode: Text.HorizontalFit
                            minimumPixelSize: 14
                        }
                        CardText {
                            Layout.fillWidth: true
                            text: modelData.caption
                            font.pixelSize: 12
                            color: CardStyle.secondary
                            elide: Text.ElideRight
                        }
                    }
                }
            }
            // One tile takes half the row, as it would beside a second.
            Item {
                visible: card.tiles.length % 2 === 1
                Layout.fillWidth: true
                Layout.preferredWidth: 1
            }
        }
        CardText {
            Layout.topMargin: 10
            visible: card.topics.length > 0
            text: "What we talk about"
            font.pixelSize: 14
            color: CardStyle.secondary
        }
        Flow {
            Layout.fillWidth: true
            Layout.topMargin: 8
            visible: card.topics.length > 0
            spacing: 8
            Repeater {
                model: card.topics.slice(0, 6)
                delegate: ChipView {
                    required property string modelData
                    text: modelData
                }
            }
        }
        Item { Layout.fillHeight: true }
        CtaBar {
            Layout.fillWidth: true
        }
    }
}
