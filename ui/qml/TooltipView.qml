import QtQuick
import QtQuick.Window
import Lanterna

// A message in a bubble that takes neither clicks nor the focus. Its frame comes from outside.
Window {
    id: window

    required property string message
    required property bool blends // whether what is behind the window shows through
    property bool shown: false // fades the bubble in, and out again
    readonly property size fittingSize: Qt.size(bubble.fittingWidth + 2 * rim, bubble.height + 2 * rim)
    readonly property rect bubbleFrame: Qt.rect(bubble.x, bubble.y, bubble.width, bubble.height)
    readonly property int cornerRadius: Theme.size(8)
    readonly property int rim: Theme.size(8) // around the bubble; the widest one takes half of it at either side

    title: "Lanterna"
    flags: Qt.ToolTip | Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint | Qt.WindowTransparentForInput | Qt.WindowDoesNotAcceptFocus
           | Qt.NoDropShadowWindowHint
    color: blends ? "transparent" : "black"
    width: fittingSize.width
    height: fittingSize.height
    onShownChanged: {
        fade.to = shown ? 0.95 : 0
        fade.duration = shown ? 200 : 150
        if (Program.animated)
            fade.restart()
        else
            content.opacity = fade.to
    }

    // The content fades, not the window: that needs nothing of the desktop.
    NumberAnimation {
        id: fade
        target: content
        property: "opacity"
    }

    Item {
        id: content
        anchors.fill: parent
        opacity: 0
        Accessible.role: Accessible.ToolTip
        Accessible.name: window.message

        Rectangle {
            id: bubble

            readonly property int padding: Theme.size(12)
            readonly property int fittingWidth: text.width + 2 * padding

            x: (window.width - width) / 2
            y: window.rim
            width: Math.max(fittingWidth, window.width - 2 * window.rim)
            height: text.height + 2 * padding
            radius: window.cornerRadius
            color: window.blends ? "#e0000000" : "#000000"
            border { width: 1; color: "#4d8e8e93" }

            Shadow {
                radius: bubble.radius
                extent: Theme.size(6)
                drop: Theme.size(1)
                opacity: 0.3
                visible: window.blends
            }
            PlainText {
                id: unwrapped // wrapped text says nothing of the width of its lines
                visible: false
                wrapMode: Text.NoWrap
                text: window.message
                font.pixelSize: Theme.smallFont
            }
            PlainText {
                id: text
                objectName: "message"
                anchors.centerIn: parent
                width: Math.min(Math.ceil(unwrapped.implicitWidth), Theme.size(368))
                text: window.message
                color: "#ffffff"
                font.pixelSize: Theme.smallFont
                Accessible.ignored: true
            }
        }
    }
}
