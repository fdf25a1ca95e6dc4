import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The five tabs in their order, and the foot under them.
Rectangle {
    color: Theme.tint(Theme.primary, Theme.dark ? 0.04 : 0.03)

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ListView {
            id: tabs
            objectName: "sidebarTabs"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: 10
            interactive: false
            keyNavigationEnabled: true
            focus: true
            currentIndex: AppState.tab
            model: [
                { label: "Coach", symbol: "murmora", tab: AppState.Coach },
                { label: "Profile", symbol: "person.text.rectangle", tab: AppState.Profile },
                { label: "People", symbol: "person.crop.circle", tab: AppState.People },
                { label: "Groups", symbol: "person.3.sequence", tab: AppState.Groups },
                { label: "Wrapped", symbol: "sparkles", tab: AppState.Wrapped }
            ]
            onCurrentIndexChanged: if (currentIndex >= 0) AppState.tab = model[currentIndex].tab
            delegate: ItemDelegate {
                id: row
                required property var modelData
                required property int index
                objectName: "tab" + modelData.label
                width: tabs.width
                leftPadding: 18
                rightPadding: 10
                topPadding: 6
                bottomPadding: 6
                highlighted: ListView.isCurrentItem
                Accessible.name: modelData.label
                Accessible.role: Accessible.PageTab
                onClicked: AppState.tab = modelData.tab
                background: Rectangle {
                    anchors.fill: parent
                    anchors.leftMargin: 8
                    anchors.rightMargin: 8
                    radius: 6
                    color: row.highlighted ? Theme.tint(Theme.accent, 0.18)
                                           : row.hovered ? Theme.tint(Theme.primary, 0.05) : "transparent"
                }
                contentItem: RowLayout {
                    spacing: 8
                    SymbolIcon {
                        name: row.modelData.symbol
                        size: 18
                        color: Theme.accent
                    }
                    Label {
                        Layout.fillWidth: true
                        text: row.modelData.label
                        color: Theme.primary
                    }
                }
            }
        }
        SidebarFoot {
            Layout.fillWidth: true
        }
    }
}
