import QtQuick
import QtQuick.Controls
import Murmora

// The application's phase as a screen.
Loader {
    id: root
    objectName: "rootView"

    sourceComponent: {
        switch (AppState.phase) {
        case AppState.NeedsAccess:
            return onboarding
        case AppState.Learning:
            return learning
        case AppState.Failed:
            return failed
        case AppState.Ready:
            return AppState.showWalkthrough ? walkthrough : main
        default:
            return checking
        }
    }

    Component {
        id: checking
        Item {
            objectName: "checkingAccessView"
            BusyIndicator {
                anchors.centerIn: parent
                running: true
            }
        }
    }
    Component {
        id: onboarding
        OnboardingView {}
    }
    Component {
        id: learning
        LearningView {}
    }
    Component {
        id: failed
        FailedView {}
    }
    Component {
        id: walkthrough
        WalkthroughView {}
    }
    Component {
        id: main
        MainView {}
    }
}
