import QtQuick
import QtQuick.Layouts
import Murmora

// Ranked contacts on a chip-coloured panel, with a hairline between rows. Large for the top-five card, small
// for the summary.
Rectangle {
    id: panel

    property var contacts: []
    property bool large: true

    implicitHeight: rows.implicitHeight
    radius: large ? 16 : 12
    color: CardStyle.chip

    ColumnLayout {
        id: rows
        width: parent.width
        spacing: 0
        Repeater {
            model: panel.contacts
            delegate: ColumnLayout {
                id: entry
                required property var modelData
                required property int index
                readonly property string name: AppState.name(modelData.handleID, modelData.displayName)
                Layout.fillWidth: true
                spacing: 0
                RowLayout {
                    objectName: "rankRow"
                    Layout.fillWidth: true
                    Layout.leftMargin: panel.large ? 16 : 12
                    Layout.rightMargin: panel.large ? 16 : 12
                    Layout.topMargin: panel.large ? 13 : 9
                    Layout.bottomMargin: panel.large ? 13 : 9
                    spacing: 14
                    CardText {
                        Layout.preferredWidth: panel.large ? 16 : 14
                        text: entry.index + 1
                        font.pixelSize: panel.large ? 14 : 13
                        font.weight: Font.DemiBold
                        color: CardStyle.secondary
                    }
                    CardMonogram {
                        visible: panel.large
                        text: entry.name
                        size: 34
                    }
                    CardText {
                        Layout.fillWidth: true
                        text: entry.name
                        elide: Text.ElideRight
                        font.pixelSize: panel.large ? 18 : 17
                        font.weight: entry.index === 0 ? Font.Bold : Font.Medium
                        color: !panel.large && entry.index === 0 ? CardStyle.accent : CardStyle.ink
                    }
                    CardText {
                        text: Fmt.thousands(entry.modelData.count)
                        font.pixelSize: panel.large ? 15 : 14
                        font.weight: Font.Medium
                        color: CardStyle.secondary
                    }
                }
                Rectangle {
                    objectName: "rankRule"
                    visible: entry.index < panel.contacts.length - 1
                    Layout.fillWidth: true
                    Layout.leftMargin: 16
                    implicitHeight: 1
                    color: CardStyle.rule
                }
            }
        }
    }
}
