import QtQuick
import QtQuick.Layouts
import Murmora

// The year in one card: the archetype, the year line, the top three and up to three tiles.
ColumnLayout {
    id: summary

    property wrappedStats stats
    property string archetypeTitle
    property string yearLine
    readonly property var tiles: {
        const tiles = []
        if (stats.myMedianReplySeconds !== undefined)
            tiles.push({ value: Fmt.replySpeed(stats.myMedianReplySeconds), caption: "reply speed" })
        if (stats.medianLastTextMinute !== undefined)
            tiles.push({ value: Fmt.clockTime(stats.medianLastTextMinute), caption: "last text" })
        if (stats.myInitiationRate !== undefined)
            tiles.push({ value: Math.trunc(stats.myInitiationRate * 100) + "%", caption: "I start" })
        return tiles
    }

    spacing: 0

    CardText {
        Layout.fillWidth: true
        Layout.preferredHeight: 42
        text: summary.archetypeTitle
        font.pixelSize: 34
        font.weight: Font.Bold
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: 20
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
    }
    CardText {
        Layout.topMargin: 6
        text: summary.yearLine
        font.pixelSize: 14
        color: CardStyle.secondary
    }
    CardRankRows {
        Layout.fillWidth: true
        Layout.topMargin: 20
        contacts: summary.stats.topContacts.slice(0, 3)
        large: false
    }
    RowLayout {
        objectName: "summaryTiles"
        Layout.fillWidth: true
        Layout.topMargin: 18
        spacing: 10
        Repeater {
            model: summary.tiles
            delegate: Rectangle {
                required property var modelData
                objectName: "summaryTile"
                Layout.fillWidth: true
                implicitHeight: tile.implicitHeight + 24
                radius: 10
                color: CardStyle.chip
                ColumnLayout {
                    id: tile
                    x: 12
                    y: 12
                    width: parent.width - 24
                    spacing: 1
                    CardText {
                        Layout.fillWidth: true
                        text: modelData.value
                        font.pixelSize: 18
                        font.weight: Font.Bold
                        fontSizeMode: Text.HorizontalFit
                        minimumPixelSize: 11
                    }
                    CardText {
                        text: modelData.caption
                        font.pixelSize: 11
                        color: CardStyle.secondary
                    }
                }
            }
        }
    }
}
