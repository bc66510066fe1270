import QtQuick
import QtQuick.Window

// A question with its buttons. `chosen` tells the index of the button; Escape and closing the window choose the cancel button.
Window {
    id: window

    required property string message
    required property string informativeText
    required property list<string> buttons
    required property int defaultButton
    required property int cancelButton
    required property int destructiveButton
    required property int focusedButton
    required property bool dark

    readonly property color textColour: dark ? "#f2f2f2" : "#1c1c1e"
    readonly property int margin: 20

    signal chosen(int button)

    // A question without a cancel button can only be answered by one of its buttons.
    function cancel() {
        if (cancelButton >= 0)
            chosen(cancelButton)
    }

    width: 400
    // Summed up here, because a positioner measures itself only once it is shown, and the size must stand before that.
    height: Math.ceil(heading.height + body.height + row.height + 2 * content.spacing) + 2 * margin
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    flags: Qt.Dialog | Qt.WindowTitleHint | Qt.WindowCloseButtonHint | Qt.WindowStaysOnTopHint
    modality: Qt.ApplicationModal
    title: "Lanterna"
    color: dark ? "#2b2b2e" : "#f6f6f7"
    visible: false

    onClosing: close => {
        close.accepted = false
        cancel()
    }
    // Shown once its content is measured: a window manager keeps the size that a fixed window first had. A third from the top is where a question is
    // looked for; where windows cannot be placed the compositor decides.
    Component.onCompleted: {
        x = Screen.virtualX + (Screen.width - width) / 2
        y = Screen.virtualY + (Screen.height - height) / 3
        visible = true
        buttonRow.itemAt(focusedButton)?.forceActiveFocus()
        requestActivate()
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Accessible.role: Accessible.AlertMessage
        Accessible.name: window.message
        Accessible.description: window.informativeText
        Keys.onEscapePressed: window.cancel()
        Keys.onReturnPressed: window.chosen(window.defaultButton)
        Keys.onEnterPressed: window.chosen(window.defaultButton)

        Column {
            id: content
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: window.margin }
            spacing: 12

            Text {
                id: heading
                width: parent.width
                text: window.message
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font { bold: true; pixelSize: 15 }
                color: window.textColour
            }
            Text {
                id: body
                width: parent.width
                text: window.informativeText
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font.pixelSize: 13
                color: window.textColour
            }
            Row {
                id: row
                readonly property real widest: (content.width - spacing * (window.buttons.length - 1)) / Math.max(1, window.buttons.length)
                anchors.right: parent.right
                height: 32
                spacing: 8

                Repeater {
                    id: buttonRow
                    model: window.buttons
                    AlertButton {
                        required property int index
                        required property string modelData
                        text: modelData
                        // qmllint disable unqualified
                        widest: row.widest
                        isDefault: index === window.defaultButton
                        destructive: index === window.destructiveButton
                        dark: window.dark
                        onPressed: window.chosen(index)
                        // qmllint enable unqualified
                    }
                }
            }
        }
    }
}
