import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Everybody the user texts, searchable, in three orders; a row opens the person.
Item {
    id: view
    objectName: "peopleView"

    // The opened person's row of the people model, or null for the list.
    property var selected: null
    // The list's search and order, kept while a person is open.
    property string query
    property int sortMode: PeopleFilterModel.Volume

    Loader {
        anchors.fill: parent
        asynchronous: true
        sourceComponent: view.selected ? detail : list
    }

    Component {
        id: detail
        PersonDetailView {
            person: view.selected.person
            name: view.selected.name
            onBack: view.selected = null
        }
    }

    Component {
        id: list
        ColumnLayout {
            spacing: 12

            Label {
                Layout.topMargin: 20
                Layout.leftMargin: 28
                text: "People"
                font.pixelSize: Theme.largeTitle
                font.weight: Font.Bold
                color: Theme.primary
                Accessible.role: Accessible.Heading
            }
            RowLayout {
                Layout.leftMargin: 28
                Layout.rightMargin: 28
                spacing: 8
                TextField {
                    id: search
                    objectName: "peopleSearch"
                    Layout.fillWidth: true
                    placeholderText: "Search people"
                    text: view.query
                    onTextChanged: view.query = text
                }
                ToolButton {
                    objectName: "peopleSort"
                    hoverEnabled: true
                    ToolTip.visible: hovered
                    ToolTip.text: "Sort people"
                    Accessible.name: "Sort people"
                    contentItem: Item {
                        implicitWidth: 16
                        implicitHeight: 16
                        SymbolIcon {
                            anchors.centerIn: parent
                            name: "arrow.up.arrow.down"
                            size: 14
                            color: Theme.secondary
                        }
                    }
                    onClicked: sortMenu.open()
                    Menu {
                        id: sortMenu
                        Repeater {
                            model: [
                                { label: "Most messages", mode: PeopleFilterModel.Volume },
                                { label: "Recent", mode: PeopleFilterModel.Recent },
                                { label: "Needs attention", mode: PeopleFilterModel.Attention }
                            ]
                            delegate: MenuItem {
                                required property var modelData
                                text: modelData.label
                                checkable: true
                                checked: view.sortMode === modelData.mode
                                onTriggered: view.sortMode = modelData.mode
                            }
                        }
                    }
                }
            }
            ListView {
                id: rows
                objectName: "peopleList"
                Layout.fillWidth: true
                Layout.fillHeight: true
                clip: true
                spacing: 12
                leftMargin: 20
                rightMargin: 20
                bottomMargin: 20
                model: PeopleFilterModel {
                    id: people
                    sourceModel: AppState.people
                    query: view.query
                    sortMode: view.sortMode
                }
                delegate: PersonRow {
                    width: rows.width - 40
                    onOpened: view.selected = { person: person, name: name }
                }
                ScrollBar.vertical: ScrollBar {}
            }
        }
    }
}
