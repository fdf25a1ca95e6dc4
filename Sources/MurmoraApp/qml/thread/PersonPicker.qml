import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Chooses whom the coach works on: a button with the chosen person, and a popover to search everyone.
AbstractButton {
    id: picker

    // The chosen handle; empty for no one.
    property string selection
    property alias query: search.text
    property alias showPopover: popover.visible

    hoverEnabled: true
    padding: 4
    Accessible.name: selection ? "Working on " + AppState.name(selection) : "Choose a person"
    onClicked: popover.open()

    contentItem: RowLayout {
        spacing: 8
        Monogram {
            visible: picker.selection !== ""
            text: AppState.name(picker.selection)
            size: 20
        }
        Label {
            objectName: "pickerLabel"
            text: picker.selection ? AppState.name(picker.selection) : "Choose a person"
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.primary
        }
        SymbolIcon {
            name: "chevron.up.chevron.down"
            size: 9
            color: Theme.secondary
        }
    }
    background: null

    Popup {
        id: popover
        objectName: "pickerPopover"
        y: picker.height + 4
        width: 260
        padding: 0
        focus: true
        onOpened: search.forceActiveFocus()
        onClosed: search.text = ""
        background: Rectangle {
            color: Theme.palette.window
            radius: 10
            border.color: Theme.separator
        }

        contentItem: ColumnLayout {
            spacing: 0
            RowLayout {
                Layout.margins: 10
                spacing: 7
                SymbolIcon {
                    name: "magnifyingglass"
                    size: 11
                    color: Theme.secondary
                }
                TextField {
                    id: search
                    objectName: "pickerSearch"
                    Layout.fillWidth: true
                    placeholderText: "Search anyone…"
                    font.pixelSize: 13
                    background: null
                    padding: 0
                }
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 1
                color: Theme.separator
            }
            ListView {
                id: results
                objectName: "pickerResults"
                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(contentHeight, 360)
                clip: true
                model: FirstRowsModel {
                    limit: 12
                    sourceModel: PeopleFilterModel {
                        sourceModel: AppState.people
                        query: search.text
                    }
                }
                delegate: ItemDelegate {
                    id: row
                    required property string handleID
                    required property string name
                    width: results.width
                    leftPadding: 10
                    rightPadding: 10
                    topPadding: 6
                    bottomPadding: 6
                    hoverEnabled: true
                    Accessible.name: name
                    background: Rectangle {
                        color: row.hovered ? Theme.tint(Theme.accent, 0.12) : "transparent"
                        radius: 6
                    }
                    contentItem: RowLayout {
                        spacing: 9
                        Monogram {
                            text: row.name
                            size: 22
                        }
                        Label {
                            Layout.fillWidth: true
                            text: row.name
                            color: Theme.primary
                            elide: Text.ElideRight
                        }
                    }
                    onClicked: {
                        picker.selection = handleID
                        popover.close()
                    }
                }
            }
            Label {
                objectName: "pickerNoOne"
                visible: results.count === 0
                padding: 12
                text: "No one found"
                font.pixelSize: 12
                color: Theme.secondary
            }
        }
    }
}
