import QtQuick
import Lanterna

// The welcome card's second button: outlined.
WelcomeButton {
    id: button

    labelColor: "#1c1c1e" // the fill is light on a dark card too
    labelWeight: Font.Medium
    background: Rectangle {
        radius: Theme.size(10)
        color: Qt.rgba(1, 1, 1, 0.5)
        border { width: 1; color: Qt.rgba(0.5, 0.5, 0.5, 0.3) }
        FocusRing { shown: button.visualFocus; radius: Theme.size(12) }
    }
}
