import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// Tells that there is no network name to file data under; the whole card is a button that says more.
AbstractButton {
    id: warning

    readonly property int inset: Theme.size(12)
    readonly property string heading: "No active WiFi network detected"

    text: "This Mac appears to be connected via Ethernet. Click to learn how to sync MAC addresses to iOS devices on a WiFi network."
    height: texts.fitted + 2 * inset
    hoverEnabled: true
    Accessible.name: heading
    Accessible.description: text
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: Rectangle {
        radius: Theme.size(8)
        color: warning.down || warning.hovered ? Theme.button : Theme.card
        border.color: warning.hovered ? Theme.warning : Theme.line
        FocusRing { shown: warning.visualFocus; radius: Theme.size(10) }
    }
    contentItem: Item {
        Symbol {
            id: symbol
            x: warning.inset
            y: warning.inset
            symbol: "exclamationmark.triangle.fill"
            points: 22
            color: Theme.warning
        }
        Stack {
            id: texts
            x: symbol.x + symbol.width + Theme.size(10)
            y: warning.inset
            width: warning.width - x - warning.inset // of the button, since its content gets its own width only when shown
            spacing: Theme.size(3)

            PlainText {
                width: parent.width
                text: warning.heading
                font { bold: true; pixelSize: Theme.bodyFont }
            }
            PlainText {
                width: parent.width
                text: warning.text
                color: Theme.secondaryText
                font.pixelSize: Theme.smallFont
            }
        }
    }
}
