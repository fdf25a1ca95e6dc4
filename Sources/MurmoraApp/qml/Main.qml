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
