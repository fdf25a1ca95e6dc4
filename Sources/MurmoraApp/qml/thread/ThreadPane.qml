import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The conversation with one person, oldest first, opening at the newest message. The model pages older
// messages in as the list scrolls up.
ColumnLayout {
    id: pane

    property string handleID
    property string name
    readonly property var thread: AppState.threadModel(handleID)

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.leftMargin: 14
        Layout.rightMargin: 14
        Layout.topMargin: 10
        Layout.bottomMargin: 10
        spacing: 8
        SymbolIcon {
            name: "text.bubble"
            size: 11
            color: Theme.primary
        }
        Label {
            objectName: "threadTitle"
            text: "Messages with " + pane.name
            font.pixelSize: 12
            font.weight: Font.DemiBold
            color: Theme.primary
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        Label {
            objectName: "threadCount"
            text: Fmt.thousands(pane.thread ? pane.thread.totalCount : 0)
            font.pixelSize: 11
            color: Theme.secondary
        }
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: Theme.separator
        opacity: 0.4
    }
    ListView {
        id: list
        objectName: "threadList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        model: pane.thread
        // Row 0 is the newest message: laid out from the bottom, the list reads oldest first and opens at
        // the newest.
        verticalLayoutDirection: ListView.BottomToTop
        spacing: 2
        reuseItems: true
        topMargin: 8
        bottomMargin: 8
        delegate: ThreadMessage {
            width: list.width
        }
        ScrollBar.vertical: ScrollBar {}
    }
}
