import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// After the first learning, before the main screen: the year in slides will stand here. Until they do, the
// walkthrough says what was learned and leads to the coach.
ColumnLayout {
    objectName: "walkthroughView"
    spacing: 12

    Item { Layout.fillHeight: true }
    CoachLogo {
        Layout.alignment: Qt.AlignHCenter
        size: 64
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10
        text: "Your texts are learned"
        font.pixelSize: Theme.largeTitle
        font.weight: Font.Bold
        color: Theme.primary
        Accessible.role: Accessible.Heading
    }
    Label {
        Layout.alignment: Qt.AlignHCenter
        text: Fmt.thousands(AppState.messageCount) + " messages with " + AppState.threadCount + " people, read on this " + Desktop.deviceWord + "."
        font.pixelSize: 15
        color: Theme.secondary
    }
    ProminentButton {
        objectName: "meetYourCoach"
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 18
                text: "Meet your coach"
        onClicked: AppState.finishWalkthrough()
    }
    Item { Layout.fillHeight: true }
}
