pragma Singleton
import QtQuick

// Colours and type sizes every screen shares. Text colours follow the system palette, so light and dark
// both work; the brand colours are fixed.
QtObject {
    readonly property SystemPalette palette: SystemPalette { colorGroup: SystemPalette.Active }
    readonly property bool dark: palette.window.hslLightness < 0.5

    readonly property color primary: palette.windowText
    readonly property color secondary: tint(primary, dark ? 0.55 : 0.5)
    readonly property color tertiary: tint(primary, dark ? 0.3 : 0.28)
    readonly property color accent: palette.highlight
    readonly property color background: palette.window
    // The quiet fill of panels.
    readonly property color groupFill: tint(primary, 0.045)
    readonly property color separator: tint(primary, 0.12)
    readonly property color brandNavy: "#141B38"
    readonly property color brandGreen: "#C6E84A"
    readonly property color danger: dark ? "#FF6961" : "#D70015"

    readonly property int body: 13
    readonly property int title2: 17
    readonly property int largeTitle: 26

    function tint(color, alpha) {
        return Qt.rgba(color.r, color.g, color.b, alpha)
    }
}
