import QtQuick
import QtQuick.Controls
import Murmora

// A note that shows for 2 seconds; a second flash shows its own text for its own 2 seconds.
Label {
    objectName: "flashNote"
    visible: text !== ""
    font.pixelSize: 11
    color: Theme.secondary
    wrapMode: Text.WordWrap

    function flash(note) {
        text = note
        clear.restart()
    }

    Timer {
        id: clear
        interval: 2000
        onTriggered: parent.text = ""
    }
}
