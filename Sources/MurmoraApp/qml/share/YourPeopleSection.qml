import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The user's top five, each a tap away from a text about the two of them.
ColumnLayout {
    spacing: 0

    SectionHeader {
        title: "Your people"
    }
    Card {
        Layout.fillWidth: true
        ColumnLayout {
            width: parent.width
            spacing: 0
            Repeater {
                model: FirstRowsModel {
                    limit: 5
                    sourceModel: AppState.people
                }
                delegate: ColumnLayout {
                    id: row
                    required property string handleID
                    required property string name
                    required property int total
                    required property int index
                    Layout.fillWidth: true
                    spacing: 0
                    PersonCardFacts {
                        id: facts
                        handleID: row.handleID
                        topicLimit: 3
                    }
                    Rectangle {
                        visible: row.index > 0
                        Layout.fillWidth: true
                        implicitHeight: 1
                        color: Theme.separator
                        opacity: 0.4
                    }
                    RowLayout {
                        objectName: "yourPeopleRow"
                        Layout.fillWidth: true
                        Layout.topMargin: 5
                        Layout.bottomMargin: 5
                        spacing: 8
                        Label {
                            Layout.preferredWidth: 16
                            text: row.index + 1
                            font.pixelSize: 12
                            font.weight: Font.DemiBold
                            color: Theme.secondary
                        }
                        Label {
                            Layout.fillWidth: true
                            text: row.name
                            font.weight: Font.Medium
                            color: Theme.primary
                            elide: Text.ElideRight
                        }
                        Label {
                            text: Fmt.thousands(row.total)
                            font.pixelSize: 12
                            color: Theme.secondary
                        }
                        AbstractButton {
                            implicitWidth: 30
                            implicitHeight: 24
                            hoverEnabled: true
                            Accessible.name: ToolTip.text
                            ToolTip.visible: hovered
                            ToolTip.text: "Send " + row.name + " your numbers together, ready to go"
                            contentItem: Item {
                                SymbolIcon {
                                    anchors.centerIn: parent
                                    name: "paperplane"
                                    size: 12
                                    color: Theme.accent
                                }
                            }
                            onClicked: ShareCompose.textPerson(row.handleID, row.name, facts.topics, row.index + 1)
                        }
                    }
                }
            }
        }
    }
}
