import QtQuick
import Lanterna

// Tells that a Wi-Fi stub stands in for a real network.
Rectangle {
    id: banner

    required property string text
    readonly property int inset: Theme.size(12)

    signal removed()

    height: Math.max(texts.fitted, remove.height) + 2 * inset
    radius: Theme.size(8)
    color: Theme.card
    border.color: Theme.line

    Symbol {
        id: symbol
        x: banner.inset
        y: banner.inset
        symbol: "wifi.circle.fill"
        points: 22
        color: Theme.accent
    }
    Stack {
        id: texts
        anchors { left: symbol.right; right: remove.left; leftMargin: Theme.size(10); rightMargin: banner.inset }
        y: (parent.height - fitted) / 2
        spacing: Theme.size(3)

        PlainText {
            width: parent.width
            text: banner.text
            font { bold: true; pixelSize: Theme.bodyFont }
            maximumLineCount: 4
            elide: Text.ElideRight
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PlainText {
            width: parent.width
            text: "Data will be associated with this SSID until this Mac connects to a real WiFi network."
            color: Theme.secondaryText
            font.pixelSize: Theme.smallFont
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
    PushButton {
        id: remove
        anchors { right: parent.right; rightMargin: banner.inset }
        y: (parent.height - height) / 2
        text: "Remove"
        Accessible.description: banner.text
        onClicked: banner.removed()
    }
}
