import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// A short note: a semibold headline and a line of detail.
ColumnLayout {
    property string headline
    property string detail

    spacing: 2

    Label {
        Layout.fillWidth: true
        text: parent.headline
        font.pixelSize: 13
        font.weight: Font.DemiBold
        color: Theme.primary
        wrapMode: Text.WordWrap
    }
    Label {
        Layout.fillWidth: true
        text: parent.detail
        font.pixelSize: 12
        color: Theme.secondary
        wrapMode: Text.WordWrap
    }
}
