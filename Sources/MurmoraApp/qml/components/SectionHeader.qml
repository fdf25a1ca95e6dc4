import QtQuick
import QtQuick.Controls
import Murmora

Label {
    property string title

    text: title
    font.pixelSize: 13
    font.weight: Font.DemiBold
    color: Theme.primary
    bottomPadding: 10
    Accessible.role: Accessible.Heading
}
