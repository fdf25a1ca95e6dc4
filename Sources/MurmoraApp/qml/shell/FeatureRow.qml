import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

RowLayout {
    id: row

    property string symbol
    property string title
    property string detail

    spacing: 0

    Item {
        Layout.alignment: Qt.AlignTop
        implicitWidth: 30
        implicitHeight: 22
        SymbolIcon {
            anchors.horizontalCenter: parent.horizontalCenter
            name: row.symbol
            size: 20
            color: Theme.accent
        }
    }
    ColumnLayout {
        Layout.alignment: Qt.AlignTop
        Layout.leftMargin: 8
        Layout.fillWidth: true
        spacing: 2
        Label {
            Layout.fillWidth: true
            text: row.title
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.primary
        }
        Label {
            Layout.fillWidth: true
            text: row.detail
            font.pixelSize: 12
            color: Theme.secondary
            wrapMode: Text.WordWrap
        }
    }
}
