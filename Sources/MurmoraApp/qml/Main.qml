import QtQuick
import QtQuick.Controls
import Murmora

ApplicationWindow {
    id: window

    // The window checks access and asks for updates as it opens; `murmora-cli screens` shows phases itself.
    property bool startsItself: true

    minimumWidth: 960
    minimumHeight: 660
    width: 1180
    height: 760
    visible: true
    title: "Murmora"
    color: Theme.background
    // Controls take the application's palette, light or dark, whatever the style's own defaults are.
    palette.window: Theme.palette.window
    palette.windowText: Theme.palette.windowText
    palette.base: Theme.palette.base
    palette.alternateBase: Theme.palette.alternateBase
    palette.text: Theme.palette.text
    palette.button: Theme.palette.button
    palette.buttonText: Theme.palette.buttonText
    palette.highlight: Theme.palette.highlight
    palette.highlightedText: Theme.palette.highlightedText
    palette.placeholderText: Theme.palette.placeholderText
    palette.mid: Theme.palette.mid
    palette.toolTipBase: Theme.palette.base
    palette.toolTipText: Theme.palette.text

    RootView {
        anchors.fill: parent
    }

    Component.onCompleted: {
        if (startsItself) {
            AppState.checkAccess()
            AppState.checkForUpdates()
        }
    }
}
