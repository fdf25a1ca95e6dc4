import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A figure with its label, and a line of context under it.
Card {
    id: tile

    property string label
    property string value
    property string context
    property bool highlight: false

    padding: 18
    fill: highlight ? Theme.tint(Theme.accent, 0.09) : Theme.groupFill
    Accessible.name: label + ": " + value + (context ? ", " + context : "")

    ColumnLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        spacing: 4

        Label {
            Layout.fillWidth: true
            text: tile.label
            font.pixelSize: 12
            color: Theme.secondary
            elide: Text.ElideRight
        }
        Label {
            objectName: "statValue"
            Layout.fillWidth: true
            Layout.preferredHeight: 34
            text: tile.value
            font.pixelSize: 28
            font.weight: Font.DemiBold
            color: Theme.primary
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: 17 // 0.6 of 28
            verticalAlignment: Text.AlignVCenter
        }
        Label {
            Layout.fillWidth: true
            visible: tile.context !== ""
            text: tile.context
            font.pixelSize: 12
            color: Theme.secondary
            wrapMode: Text.WordWrap
        }
    }
}
