import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// One conversation waiting on the user, with what was said last (or why a model thinks it matters).
ColumnLayout {
    id: row

    required property string handle
    required property string name
    required property var reason
    required property string lastMessage
    required property double waitingHours
    required property int unreadCount
    required property int index

    spacing: 0

    Rectangle {
        visible: row.index > 0
        Layout.fillWidth: true
        implicitHeight: 1
        color: Theme.separator
        opacity: 0.4
    }
    RowLayout {
        Layout.fillWidth: true
        Layout.topMargin: 10
        Layout.bottomMargin: 10
        spacing: 8
        Monogram {
            text: row.name
            size: 30
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            RowLayout {
                spacing: 6
                Label {
                    text: row.name
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    color: Theme.primary
                }
                Label {
                    text: Fmt.waitingLabel(row.waitingHours)
                    font.pixelSize: 11
                    color: Theme.secondary
                }
                Label {
                    visible: row.unreadCount >= 1
                    text: row.unreadCount + " unread"
                    font.pixelSize: 11
                    font.weight: Font.Medium
                    color: Theme.primary
                }
            }
            Label {
                objectName: "priorityDetail"
                Layout.fillWidth: true
                text: row.reason !== undefined ? row.reason : row.lastMessage
                font.pixelSize: 12
                color: row.reason !== undefined ? Theme.primary : Theme.secondary
                elide: Text.ElideRight
            }
        }
        AbstractButton {
            implicitWidth: 28
            implicitHeight: 24
            hoverEnabled: true
            Accessible.name: ToolTip.text
            ToolTip.visible: hovered
            ToolTip.text: "Open the thread in Messages"
            onClicked: ShareCompose.openThread(row.handle)
            contentItem: Item {
                SymbolIcon {
                    anchors.centerIn: parent
                    name: "paperplane"
                    size: 13
                    color: Theme.accent
                }
            }
        }
        Button {
            text: "Coach"
            flat: true
            onClicked: {
                AppState.coachSelection = row.handle
                AppState.tab = AppState.Coach
            }
        }
    }
}
