import QtQuick
import QtQuick.Window
import Lanterna

// A question with its buttons. `chosen` tells the index of the button; Escape and closing the window choose the cancel button.
LanternaWindow {
    id: window

    required property string message
    required property string informativeText
    required property list<string> buttons
    required property int defaultButton
    required property int cancelButton
    required property int destructiveButton

    // The safe button has the focus at first: the one that changes nothing, else the default one.
    readonly property int safeButton: destructiveButton >= 0 && cancelButton >= 0 ? cancelButton : defaultButton
    // Summed up here, because a positioner measures itself only once it is shown, and the size must stand before that.
    readonly property real contentHeight: Math.ceil(heading.height + body.height + row.height + 2 * content.spacing) + 2 * margin

    readonly property int margin: Theme.size(20)

    signal chosen(int button)

    // A question without a cancel button can only be answered by one of its buttons.
    function cancel() {
        if (cancelButton >= 0)
            chosen(cancelButton)
    }

    width: Theme.size(400)
    onContentHeightChanged: WindowPlaces.fit(window, contentHeight)
    flags: Qt.Dialog | Qt.WindowTitleHint | Qt.WindowCloseButtonHint | Qt.WindowStaysOnTopHint
    modality: transientParent ? Qt.WindowModal : Qt.ApplicationModal
    visible: false

    onClosing: close => {
        close.accepted = false
        cancel()
    }
    // Shown once its content is measured: a window manager keeps the size that a fixed window first had. A third from the top is where a question is
    // looked for; where windows cannot be placed the compositor decides.
    Component.onCompleted: {
        if (transientParent) {
            WindowPlaces.overParent(window)
        } else {
            x = Screen.virtualX + (Screen.width - width) / 2
            y = Screen.virtualY + (Screen.height - height) / 3
        }
        visible = true
        buttonRow.itemAt(safeButton)?.forceActiveFocus(Qt.TabFocusReason)
        requestActivate()
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Accessible.role: Accessible.AlertMessage
        Accessible.name: window.message
        Accessible.description: window.informativeText
        Keys.onEscapePressed: window.cancel()
        // Return is the default button wherever the focus is; Space presses the button that has it.
        Keys.onReturnPressed: window.chosen(window.defaultButton)
        Keys.onEnterPressed: window.chosen(window.defaultButton)

        Column {
            id: content
            x: window.margin
            y: window.margin
            width: window.width - 2 * window.margin // not by anchors, which are in force only once the window is shown
            spacing: Theme.size(12)

            PlainText {
                id: heading
                width: parent.width
                text: window.message
                font { bold: true; pixelSize: Theme.size(15) }
            }
            PlainText {
                id: body
                width: parent.width
                text: window.informativeText
            }
            Row {
                id: row
                readonly property real widest: (content.width - spacing * (window.buttons.length - 1)) / Math.max(1, window.buttons.length)
                anchors.right: parent.right
                height: Theme.size(32)
                spacing: Theme.size(8)

                Repeater {
                    id: buttonRow
                    model: window.buttons
                    PushButton {
                        required property int index
                        required property string modelData
                        text: modelData
                        // qmllint disable unqualified
                        width: Math.min(row.widest, Math.max(Theme.size(84), implicitWidth))
                        prominent: index === window.defaultButton
                        destructive: index === window.destructiveButton
                        onClicked: window.chosen(index)
                        takesReturn: false
                        // qmllint enable unqualified
                    }
                }
            }
        }
    }
}
