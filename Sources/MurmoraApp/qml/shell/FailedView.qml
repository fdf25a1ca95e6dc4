import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

ColumnLayout {
    objectName: "failedView"
    spacing: 12

    Item { Layout.fillHeight: true }
    SymbolIcon {
        Layout.alignment: Qt.AlignHCenter
        name: "exclamationmark.triangle"
        size: 30
        color: Theme.secondary
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        text: "Something went wrong"
        font.pixelSize: Theme.title2
        font.weight: Font.DemiBold
        color: Theme.primary
    }
    Label {
        objectName: "failureMessage"
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: 460
        text: AppState.failureText
        font.pixelSize: 12
        color: Theme.secondary
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.WordWrap
    }
    ProminentButton {
        objectName: "tryAgain"
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6
        text: "Try Again"
                onClicked: AppState.checkAccess()
    }
    Item { Layout.fillHeight: true }
}
