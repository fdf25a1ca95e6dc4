import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// A tab whose screen has nothing to show: what it is for, and what to do instead.
ColumnLayout {
    id: view

    property string symbol
    property string title
    property string detail
    property string actionText
    signal action

    spacing: 10

    Item { Layout.fillHeight: true }
    SymbolIcon {
        Layout.alignment: Qt.AlignHCenter
        name: view.symbol
        size: 30
        color: Theme.tertiary
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        text: view.title
        font.pixelSize: Theme.title2
        font.weight: Font.DemiBold
        color: Theme.primary
        Accessible.role: Accessible.Heading
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: 460
        text: view.detail
        font.pixelSize: 12
        color: Theme.secondary
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.WordWrap
    }
    Button {
        Layout.alignment: Qt.AlignHCenter
        visible: view.actionText !== ""
        text: view.actionText
        onClicked: view.action()
    }
    Item { Layout.fillHeight: true }
}
