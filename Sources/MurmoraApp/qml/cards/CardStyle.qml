pragma Singleton
import QtQuick

// The fixed light palette of every share card, whatever the system's appearance.
QtObject {
    readonly property color surface: "white"
    readonly property color ink: "#1B1D22"
    readonly property color secondary: "#6F7580"
    readonly property color accent: "#0A84FF"
    readonly property color chip: "#F1F2F4"
    readonly property color rule: Qt.rgba(0x1B / 255, 0x1D / 255, 0x22 / 255, 0.06)
    readonly property string title: "iMessage Wrapped"
}
