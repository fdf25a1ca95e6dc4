import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// Opens the coach on this person.
ProminentButton {
    id: button

    property string handle
    property string name

    objectName: "coachButton"
    text: "Help me reply"
    hoverEnabled: true
    ToolTip.visible: hovered
    ToolTip.text: "Open the coach for " + name
    onClicked: {
        AppState.coachSelection = handle
        AppState.tab = AppState.Coach
    }
    contentItem: RowLayout {
        spacing: 6
        CoachLogo {
            size: 16
        }
        Label {
            text: button.text
            color: "white"
        }
    }
}
