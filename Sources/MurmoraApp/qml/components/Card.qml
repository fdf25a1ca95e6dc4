import QtQuick
import QtQuick.Controls
import Murmora

// A panel: its content padded on a quiet fill with rounded corners, as wide as it is allowed.
Pane {
    property color fill: Theme.groupFill

    padding: 14
    background: Rectangle {
        color: parent.fill
        radius: 12
    }
}
