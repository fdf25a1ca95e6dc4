import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// The sidebar of tabs beside the selected tab's screen.
RowLayout {
    objectName: "mainView"
    spacing: 0

    Sidebar {
        Layout.fillHeight: true
        Layout.preferredWidth: 200
        Layout.minimumWidth: 180
    }
    Rectangle {
        Layout.fillHeight: true
        implicitWidth: 1
        color: Theme.separator
    }
    Loader {
        objectName: "tabScreen"
        Layout.fillWidth: true
        Layout.fillHeight: true
        // A screen is built a slice per frame, so switching tabs never holds the window still.
        asynchronous: true
        sourceComponent: {
            switch (AppState.tab) {
            case AppState.Profile:
                return profile
            case AppState.People:
                return people
            case AppState.Groups:
                return groups
            case AppState.Wrapped:
                return wrapped
            default:
                return coach
            }
        }
    }

    // The tabs' own screens come in their own files as they are built; until then each says what it will
    // show and where the same answers are today.
    Component {
        id: coach
        EmptyTabView {
            objectName: "coachTab"
            symbol: "sparkles"
            title: "Coach"
            detail: "The coach's chat is not in the window yet. Ask it from the command line:\nmurmora-cli coach \"Who should I text back first?\""
        }
    }
    Component {
        id: profile
        Loader {
            sourceComponent: AppState.stats.valid ? profileView : noProfile
            Component {
                id: profileView
                ProfileView {}
            }
            Component {
                id: noProfile
                EmptyTabView {
                    objectName: "profileTab"
                    symbol: "person.text.rectangle"
                    title: "Profile"
                    detail: "Nothing is learned yet. Refresh reads your messages again."
                }
            }
        }
    }
    Component {
        id: people
        PeopleView {}
    }
    Component {
        id: groups
        EmptyTabView {
            objectName: "groupsTab"
            symbol: "person.3.sequence"
            title: "Groups"
            detail: "Group chats and their roles are not in the window yet."
        }
    }
    Component {
        id: wrapped
        EmptyTabView {
            objectName: "wrappedTab"
            symbol: "sparkles"
            title: "Wrapped"
            detail: "The slides are not in the window yet. Your year's recap page is ready to open in a browser."
            actionText: AppState.wrappedURL.toString() !== "" ? "Open the recap page" : ""
            onAction: Qt.openUrlExternally(AppState.wrappedURL)
        }
    }
}
