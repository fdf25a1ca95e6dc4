import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Under the tabs: a newer version when there is one, a fresh learn run, and where the data stays.
ColumnLayout {
    spacing: 8

    component FootButton: AbstractButton {
        id: button
        property string symbol
        property color tone
        hoverEnabled: true
        Accessible.name: text
        contentItem: RowLayout {
            spacing: 5
            SymbolIcon {
                name: button.symbol
                size: 12
                color: button.tone
            }
            Label {
                text: button.text
                font.pixelSize: 12
                color: button.tone
                opacity: button.hovered ? 0.8 : 1
            }
        }
    }

    FootButton {
        objectName: "updateButton"
        Layout.topMargin: 12
        Layout.leftMargin: 12
        visible: AppState.update.valid
        symbol: "arrow.down.circle"
        tone: Theme.accent
        text: "Update available"
        ToolTip.visible: hovered
        ToolTip.text: "Download Murmora " + AppState.update.version
        onClicked: Desktop.openUrl(AppState.update.url)
    }
    FootButton {
        objectName: "refreshButton"
        Layout.topMargin: AppState.update.valid ? 0 : 12
        Layout.leftMargin: 12
        symbol: "arrow.clockwise"
        tone: Theme.secondary
        text: "Refresh"
        onClicked: AppState.learn(365, false)
    }
    RowLayout {
        Layout.leftMargin: 12
        Layout.bottomMargin: 12
        spacing: 5
        SymbolIcon {
            name: "lock"
            size: 11
            color: Theme.tertiary
        }
        Label {
            text: "On this " + Desktop.deviceWord + " only"
            font.pixelSize: 11
            color: Theme.tertiary
        }
    }
}
