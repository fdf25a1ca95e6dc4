import QtQuick
import QtQuick.Layouts
import Murmora

// A group chat, 540 by 675: who talks the most, gets the laughs, revives the chat, and everyone's share.
Rectangle {
    id: card

    property string name
    property groupStats stats
    readonly property var bars: stats.members.slice(0, 5)

    width: 540
    height: 675
    color: CardStyle.surface

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 36
        spacing: 0

        Masthead {
            title: "Group Wrapped"
        }
        CardText {
            Layout.fillWidth: true
            Layout.topMargin: 22
            Layout.preferredHeight: 38
            text: card.name
            font.pixelSize: 30
            font.weight: Font.Bold
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: 17
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
        }
        CardText {
            Layout.topMargin: 3
            text: card.stats.memberCount + " people · " + Fmt.thousands(card.stats.total) + " messages"
            font.pixelSize: 14
            color: CardStyle.secondary
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 16
            visible: card.stats.superlatives.length > 0
            implicitHeight: rows.implicitHeight
            radius: 16
            color: CardStyle.chip
            ColumnLayout {
                id: rows
                width: parent.width
                spacing: 0
                Repeater {
                    model: card.stats.superlatives
                    delegate: ColumnLayout {
                        id: entry
                        required property var modelData
                        required property int index
                        Layout.fillWidth: true
                        spacing: 0
                        RowLayout {
                            objectName: "superlativeRow"
                            Layout.fillWidth: true
                            Layout.margins: 16
                            Layout.topMargin: 12
                            Layout.bottomMargin: 12
                            spacing: 14
                            CardText {
                                text: entry.modelData.emoji
                                font.pixelSize: 22
                            }
                            ColumnLayout {
                                spacing: 0
                                CardText {
                                    text: entry.modelData.label
                                    font.pixelSize: 13
                                    font.weight: Font.Medium
                                    color: CardStyle.secondary
                                }
                                CardText {
                                    text: entry.modelData.who
                                    font.pixelSize: 18
                                    font.weight: Font.Bold
                                }
                            }
                            Item { Layout.fillWidth: true }
                            CardText {
                                text: entry.modelData.detail
                                font.pixelSize: 12
                                color: CardStyle.secondary
                            }
                        }
                        Rectangle {
                            visible: entry.index < card.stats.superlatives.length - 1
                            Layout.fillWidth: true
                            Layout.leftMargin: 16
                            implicitHeight: 1
                            color: CardStyle.rule
                        }
                    }
                }
            }
        }
        CardText {
            Layout.topMargin: 18
            text: "Who does the talking"
            font.pixelSize: 14
            color: CardStyle.secondary
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.topMargin: 8
            spacing: 8
            Repeater {
                model: card.bars
                delegate: RowLayout {
                    id: bar
                    required property var modelData
                    objectName: "memberBar"
                    Layout.fillWidth: true
                    spacing: 0
                    CardText {
                        Layout.preferredWidth: 96
                        Layout.maximumWidth: 96
                        rightPadding: 6
                        text: bar.modelData.name
                        elide: Text.ElideRight
                        font.pixelSize: 14
                        font.weight: bar.modelData.isMe ? Font.Bold : Font.Medium
                        color: bar.modelData.isMe ? CardStyle.accent : CardStyle.ink
                    }
                    Item {
                        id: space
                        Layout.fillWidth: true
                        implicitHeight: 9
                        Rectangle {
                            height: 9
                            radius: 4.5
                            width: space.width * bar.modelData.share
                            color: bar.modelData.isMe ? CardStyle.accent
                                                      : Qt.rgba(CardStyle.accent.r, CardStyle.accent.g, CardStyle.accent.b, 0.3)
                        }
                    }
                    CardText {
                        Layout.preferredWidth: 40
                        horizontalAlignment: Text.AlignRight
                        text: Math.trunc(bar.modelData.share * 100) + "%"
                        font.pixelSize: 13
                        font.weight: Font.DemiBold
                        color: CardStyle.secondary
                    }
                }
            }
        }
        Item {
            Layout.fillHeight: true
            Layout.minimumHeight: 16
        }
        CtaBar {
            Layout.fillWidth: true
        }
    }
}
