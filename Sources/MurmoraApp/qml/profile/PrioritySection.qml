import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// "Needs your reply": the local candidates at once, then the model's pick of five with reasons when it answers.
ColumnLayout {
    id: section
    objectName: "prioritySection"

    visible: priority.candidateCount > 0
    spacing: 12

    PriorityController {
        id: priority
        state: AppState
        Component.onCompleted: compute()
    }

    RowLayout {
        spacing: 8
        SectionHeader {
            title: "Needs your reply"
        }
        BusyIndicator {
            objectName: "prioritySpinner"
            Layout.preferredWidth: 16
            Layout.preferredHeight: 16
            Layout.bottomMargin: 10
            running: priority.selecting
            visible: running
        }
    }
    Card {
        Layout.fillWidth: true
        ColumnLayout {
            width: parent.width
            spacing: 0
            Repeater {
                model: FirstRowsModel {
                    limit: 5
                    sourceModel: priority.items
                }
                delegate: PriorityRow {
                    Layout.fillWidth: true
                }
            }
        }
    }
    Label {
        objectName: "selectedByAI"
        visible: priority.picked
        text: "Selected by AI from " + priority.candidateCount + " waiting conversations — promos and noise skipped."
        font.pixelSize: 11
        color: Theme.secondary
    }
}
