import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// One person in the list: who, when and who texted last, what needs attention, how much.
ItemDelegate {
    id: row

    required property string handleID
    required property string name
    required property int total
    required property var lastDate
    required property bool hasThread
    required property var lastFromMe
    required property string insightKind
    required property var person
    signal opened

    readonly property string badge: insightKind === "waiting" ? "waiting on you"
                                  : insightKind === "warmthDip" ? "cooling off"
                                  : insightKind === "neglected" ? "gone quiet" : ""
    readonly property string subtitle: name === handleID || !hasThread || lastFromMe === undefined
                                       ? handleID
                                       : Fmt.shortAgo(lastDate) + " · " + (lastFromMe ? "you texted last" : "they texted last")

    hoverEnabled: true
    padding: 8
    Accessible.name: name
    onClicked: opened()
    background: Rectangle {
        radius: 8
        color: row.hovered ? Theme.tint(Theme.primary, 0.05) : "transparent"
    }

    contentItem: RowLayout {
        spacing: 10
        Monogram {
            text: row.name
            size: 32
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Label {
                Layout.fillWidth: true
                text: row.name
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.primary
                elide: Text.ElideRight
            }
            Label {
                objectName: "personSubtitle"
                Layout.fillWidth: true
                text: row.subtitle
                font.pixelSize: 11
                color: Theme.secondary
                elide: Text.ElideRight
            }
        }
        Rectangle {
            objectName: "personBadge"
            visible: row.badge !== ""
            implicitWidth: badgeText.implicitWidth + 14
            implicitHeight: badgeText.implicitHeight + 5
            radius: height / 2
            color: Theme.tint(Theme.accent, 0.11)
            Label {
                id: badgeText
                anchors.centerIn: parent
                text: row.badge
                font.pixelSize: 11
                font.weight: Font.Medium
                color: Theme.accent
            }
        }
        Label {
            text: Fmt.thousands(row.total) + " messages"
            font.pixelSize: 12
            color: Theme.secondary
        }
        AbstractButton {
            implicitWidth: 24
            implicitHeight: 24
            opacity: row.hovered ? 1 : 0
            hoverEnabled: true
            Accessible.name: ToolTip.text
            ToolTip.visible: hovered
            ToolTip.text: "Coach me on " + row.name
            onClicked: {
                AppState.coachSelection = row.handleID
                AppState.tab = AppState.Coach
            }
            contentItem: Item {
                CoachLogo {
                    anchors.centerIn: parent
                    size: 18
                }
            }
        }
        SymbolIcon {
            name: "chevron.right"
            size: 10
            color: Theme.tertiary
        }
    }
}
