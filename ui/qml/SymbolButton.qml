import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// A small button that shows one symbol; `help` says what it does.
AbstractButton {
    id: button

    required property string symbol
    required property string help
    property bool framed: true

    implicitWidth: Theme.size(28)
    implicitHeight: Theme.size(28)
    hoverEnabled: true
    Accessible.name: help
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    ToolTip {
        visible: button.hovered
        delay: 700
        padding: Theme.size(6)
        contentItem: PlainText {
            text: button.help
            font.pixelSize: Theme.smallFont
        }
        background: Rectangle {
            radius: Theme.size(5)
            color: Theme.card
            border.color: Theme.line
        }
    }

    background: Rectangle {
        radius: Theme.size(6)
        color: button.framed ? Theme.button : "transparent"
        border.color: button.framed ? Theme.line : "transparent"
        opacity: button.down ? 0.7 : 1
        FocusRing { shown: button.visualFocus }
    }
    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            symbol: button.symbol
            color: button.hovered ? Theme.text : Theme.secondaryText
        }
    }
}
