import QtQuick

// A push button of the alert window.
Rectangle {
    id: button

    required property string text
    required property bool isDefault
    required property bool destructive
    required property bool dark
    required property real widest

    readonly property color accent: destructive ? "#d62c20" : "#2f6fde"
    readonly property bool filled: isDefault || destructive

    signal pressed()

    implicitWidth: Math.min(widest, Math.max(84, label.implicitWidth + 28))
    implicitHeight: 32
    radius: 6
    color: filled ? accent : (dark ? "#4a4a4f" : "#ffffff")
    border.color: filled ? Qt.darker(accent, 1.2) : (dark ? "#6b6b70" : "#b8b8bd")
    opacity: mouse.pressed ? 0.8 : 1
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.focusable: true
    Accessible.onPressAction: pressed()
    Keys.onSpacePressed: pressed()

    Text {
        id: label
        anchors.centerIn: parent
        width: Math.min(implicitWidth, parent.width - 16)
        text: button.text
        textFormat: Text.PlainText
        elide: Text.ElideRight
        font.pixelSize: 13
        color: button.filled || button.dark ? "#ffffff" : "#1c1c1e"
    }
    // The ring tells where the focus is; it stands outside, so that it shows on filled buttons too.
    Rectangle {
        anchors { fill: parent; margins: -3 }
        radius: button.radius + 3
        color: "transparent"
        border { width: 2; color: button.dark ? "#8ab4ff" : "#1f5fd0" }
        visible: button.activeFocus
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        onClicked: button.pressed()
    }
}
