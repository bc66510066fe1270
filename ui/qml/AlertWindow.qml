import QtQuick
import QtQuick.Window
import QtQuick.Layouts

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
    height: Math.ceil(content.implicitHeight) + 2 * margin
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    flags: Qt.Dialog | Qt.WindowTitleHint | Qt.WindowCloseButtonHint | Qt.WindowStaysOnTopHint
    modality: Qt.ApplicationModal
    title: "Lanterna"
    color: dark ? "#2b2b2e" : "#f6f6f7"
    visible: true

    onClosing: close => {
        close.accepted = false
        cancel()
    }
    Component.onCompleted: {
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

        ColumnLayout {
            id: content
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: window.margin }
            spacing: 10

            Text {
                Layout.fillWidth: true
                text: window.message
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font.bold: true
                font.pixelSize: 15
                color: window.textColour
                visible: text.length > 0
            }
            Text {
                Layout.fillWidth: true
                text: window.informativeText
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font.pixelSize: 13
                color: window.textColour
                visible: text.length > 0
            }
            Row {
                id: row
                readonly property real widest: (content.width - spacing * (window.buttons.length - 1)) / Math.max(1, window.buttons.length)
                Layout.alignment: Qt.AlignRight
                Layout.topMargin: 8
                spacing: 8

                Repeater {
                    id: buttonRow
                    model: window.buttons
                    AlertButton {
                        required property int index
                        required property string modelData
                        text: modelData
                        widest: row.widest
                        isDefault: index === window.defaultButton
                        destructive: index === window.destructiveButton
                        dark: window.dark
                        onPressed: window.chosen(index)
                    }
                }
            }
        }
    }
}
