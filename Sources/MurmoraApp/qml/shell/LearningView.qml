import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// A spinner and the line of the run: a step, or a fact it found, cross-fading as it changes.
ColumnLayout {
    objectName: "learningView"
    spacing: 16

    Item { Layout.fillHeight: true }
    BusyIndicator {
        Layout.alignment: Qt.AlignHCenter
        running: true
    }
    Item {
        Layout.alignment: Qt.AlignHCenter
        implicitWidth: 440
        implicitHeight: Math.max(fact.implicitHeight, leaving.implicitHeight)

        Label {
            id: leaving
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            font.pixelSize: 15
            font.weight: Font.DemiBold
            color: Theme.primary
            opacity: 0
        }
        Label {
            id: fact
            objectName: "learningFact"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            font.pixelSize: 15
            font.weight: Font.DemiBold
            color: Theme.primary
            text: AppState.learningFact
            Accessible.role: Accessible.StaticText
            Accessible.name: text

            // The line before this one, fading out as this one fades in.
            property string previous
            onTextChanged: {
                leaving.text = previous
                previous = fact.text
                fade.restart()
            }
        }
        ParallelAnimation {
            id: fade
            NumberAnimation { target: fact; property: "opacity"; from: 0; to: 1; duration: 300; easing.type: Easing.OutCubic }
            NumberAnimation { target: leaving; property: "opacity"; from: 1; to: 0; duration: 300; easing.type: Easing.OutCubic }
        }
    }
    Item { Layout.fillHeight: true }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Layout.bottomMargin: 24
        text: "Learning your style — on this " + Desktop.deviceWord + " only"
        font.pixelSize: 12
        color: Theme.secondary
    }
}
