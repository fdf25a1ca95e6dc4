import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Asks before text leaves this computer for a model. "Continue" closes the sheet and then emits `accepted`;
// "Cancel", Escape or a click outside only close it.
Popup {
    id: sheet

    property string title
    property string scope
    signal accepted

    anchors.centerIn: Overlay.overlay
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape
    padding: 0
    background: Rectangle {
        color: Theme.palette.window
        radius: 12
        border.color: Theme.separator
    }

    contentItem: ColumnLayout {
        spacing: 0

        Item { implicitHeight: 28 }
        SymbolIcon {
            Layout.alignment: Qt.AlignHCenter
            name: "lock.shield"
            size: 30
            color: Theme.accent
        }
        Item { implicitHeight: 14 }
        Label {
            Layout.alignment: Qt.AlignHCenter
            Layout.leftMargin: 24
            Layout.rightMargin: 24
            text: sheet.title
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.primary
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            Layout.leftMargin: 24
            Layout.rightMargin: 24
            Layout.maximumWidth: 350 + 48
            Layout.preferredWidth: 350
            text: sheet.scope
            font.pixelSize: 12
            color: Theme.secondary
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            lineHeightMode: Text.FixedHeight
            lineHeight: 17
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 8
            text: "Everything else in Murmora stays on this " + Desktop.deviceWord + "."
            font.pixelSize: 11
            color: Theme.tertiary
        }
        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 12
            Layout.bottomMargin: 28
            spacing: 12
            Button {
                objectName: "consentCancel"
                text: "Cancel"
                onClicked: sheet.close()
            }
            ProminentButton {
                objectName: "consentContinue"
                text: "Continue"
                                onClicked: {
                    sheet.close()
                    sheet.accepted()
                }
            }
        }
    }
}
