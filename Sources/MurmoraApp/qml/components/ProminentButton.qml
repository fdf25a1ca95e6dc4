import QtQuick
import QtQuick.Controls
import Murmora

// The one button a screen leads to: filled with the accent colour.
Button {
    id: button

    leftPadding: 16
    rightPadding: 16
    topPadding: 6
    bottomPadding: 6
    Accessible.name: text

    contentItem: Label {
        text: button.text
        font: button.font
        color: "white"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitHeight: 28
        radius: 6
        color: button.down ? Qt.darker(Theme.accent, 1.15) : button.hovered ? Qt.lighter(Theme.accent, 1.08) : Theme.accent
        border.width: button.visualFocus ? 2 : 0
        border.color: Theme.tint(Theme.primary, 0.4)
    }
}
