import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Shows and hides the thread pane.
AbstractButton {
    id: toggle

    property bool isOn: false
    readonly property color tone: isOn ? Theme.accent : Theme.secondary

    checkable: true
    checked: isOn
    onToggled: isOn = checked
    hoverEnabled: true
    Accessible.name: ToolTip.text
    ToolTip.visible: hovered
    ToolTip.text: isOn ? "Hide the conversation" : "Read the actual conversation"
    padding: 4

    contentItem: RowLayout {
        spacing: 4
        SymbolIcon {
            name: "sidebar.right"
            size: 12
            color: toggle.tone
        }
        Label {
            text: "Texts"
            font.pixelSize: 12
            color: toggle.tone
        }
    }
    background: null
}
