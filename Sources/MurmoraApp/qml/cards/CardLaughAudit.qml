import QtQuick
import QtQuick.Layouts
import Murmora

// The ways the user laughs, with bars against the most used, the top emojis, and the question back.
ColumnLayout {
    id: audit

    property wrappedStats stats
    readonly property var rows: Fmt.laughRows(stats.laughter)
    // A lone symbol such as U+2764 draws as black text unless asked for its emoji form.
    readonly property var emojis: stats.myTopEmojis.slice(0, 8).map(
        entry => entry.emoji.length === 1 ? entry.emoji + "\uFE0F" : entry.emoji)

    spacing: 18

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 18
        visible: audit.rows.length > 0
        Repeater {
            model: audit.rows
            delegate: RowLayout {
                id: row
                required property var modelData
                required property int index
                objectName: "laughRow"
                Layout.fillWidth: true
                spacing: 14
                CardText {
                    Layout.preferredWidth: 110
                    text: row.modelData.label
                    font.pixelSize: 22
                    font.weight: Font.DemiBold
                }
                Item {
                    id: space
                    Layout.fillWidth: true
                    implicitHeight: 12
                    Rectangle {
                        objectName: "laughBar"
                        height: 12
                        radius: 5
                        width: Math.max(10, space.width * row.modelData.count / audit.rows[0].count)
                        color: row.index === 0 ? CardStyle.accent
                                               : Qt.rgba(CardStyle.accent.r, CardStyle.accent.g, CardStyle.accent.b, 0.3)
                    }
                }
                CardText {
                    Layout.preferredWidth: 56
                    horizontalAlignment: Text.AlignRight
                    text: row.modelData.percentOfAll + "%"
                    font.pixelSize: 17
                    font.weight: Font.DemiBold
                    color: CardStyle.secondary
                }
            }
        }
    }
    CardText {
        Layout.topMargin: 4
        visible: audit.emojis.length > 0
        text: audit.emojis.join(" ")
        font.pixelSize: 24
    }
    CardText {
        objectName: "whatsYours"
        Layout.topMargin: 8
        text: "What's yours?"
        color: CardStyle.secondary
    }
}
