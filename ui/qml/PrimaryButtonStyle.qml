import QtQuick
import Lanterna

// The welcome card's first button: white on blue.
WelcomeButton {
    id: button

    labelColor: Theme.accentText
    labelWeight: Font.DemiBold
    background: Item {
        Shadow {
            radius: Theme.size(10)
            extent: Theme.size(8)
            drop: Theme.size(3)
            tint: "1a5fd6"
            opacity: 0.3
        }
        // Blended here: while the button shrinks, the edges between the parts of a translucent rectangle would show.
        Rectangle {
            anchors.fill: parent
            radius: Theme.size(10)
            color: Qt.tint(Theme.window, Qt.rgba(Theme.blueFill.r, Theme.blueFill.g, Theme.blueFill.b, 0.9))
        }
        FocusRing { shown: button.visualFocus; radius: Theme.size(12) }
    }
}
