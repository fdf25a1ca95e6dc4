import QtQuick
import QtQuick.Controls
import Murmora

// A person's initial in a tinted circle.
Rectangle {
    property string text
    property real size: 28

    implicitWidth: size
    implicitHeight: size
    radius: size / 2
    color: Theme.tint(Theme.accent, 0.14)
    Accessible.ignored: true

    Label {
        objectName: "monogramLetter"
        anchors.centerIn: parent
        text: Fmt.monogram(parent.text)
        font.pixelSize: Math.max(1, Math.round(parent.size * 0.44))
        font.weight: Font.DemiBold
        color: Theme.accent
    }
}
