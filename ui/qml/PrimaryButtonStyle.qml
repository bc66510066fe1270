import QtQuick
import Lanterna

// The welcome card's first button: white on blue.
WelcomeButton {
    id: button

    labelColor: Theme.accentText
    labelWeight: Font.DemiBold
    background: Item {
        Shadow {
            radius: fill.radius
            extent: Theme.size(8)
            drop: Theme.size(3)
            tint: "1a5fd6"
            opacity: 0.3
        }
        Rectangle {
            id: fill
            anchors.fill: parent
            radius: Theme.size(10)
            color: Theme.blueFill
            opacity: 0.9
        }
        FocusRing { shown: button.visualFocus; radius: Theme.size(12) }
    }
}
