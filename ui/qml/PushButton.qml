import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// A push button, with a symbol before its text where one is given.
Button {
    id: button

    property string symbol
    property bool prominent: false // the default button
    property bool destructive: false

    readonly property bool filled: enabled && (prominent || destructive)
    readonly property color fill: destructive ? Theme.dangerFill : prominent ? Theme.accent : Theme.button

    implicitHeight: Theme.size(32)
    leftPadding: Theme.size(14)
    rightPadding: Theme.size(14)
    spacing: Theme.size(8)
    font.pixelSize: Theme.bodyFont
    icon {
        source: symbol ? Theme.symbol(symbol) : ""
        width: Theme.size(16)
        height: Theme.size(16)
        color: filled ? Theme.accentText : Theme.text
    }
    palette.buttonText: filled ? Theme.accentText : enabled ? Theme.text : Theme.secondaryText
    Accessible.name: text
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    background: Rectangle {
        radius: Theme.size(6)
        color: button.filled ? button.fill : Theme.button
        border.color: button.filled ? Qt.darker(button.fill, 1.2) : Theme.line
        opacity: !button.enabled ? 0.5 : button.down ? 0.8 : 1
        FocusRing { shown: button.visualFocus }
    }
}
