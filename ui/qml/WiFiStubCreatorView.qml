import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// The stub editor: a network name typed by hand.
Sheet {
    id: editor

    required property string currentStub
    property string ssidInput: currentStub
    readonly property string candidate: WiFiStub.candidate(ssidInput)
    readonly property bool valid: WiFiStub.valid(candidate)

    // An accepted name; `dismissed` follows.
    signal saved(string ssid)

    function save() {
        if (!valid)
            return
        saved(candidate)
        dismissed()
    }

    title: currentStub ? "Edit WiFi Stub" : "Create WiFi Stub"
    width: Theme.size(380)
    contentHeight: content.fitted + 2 * content.anchors.margins
    firstFocus: field

    Stack {
        id: content
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.size(16) }
        spacing: Theme.size(12)
        // Return is the default button wherever the focus is.
        Keys.onReturnPressed: editor.save()
        Keys.onEnterPressed: editor.save()

        Item {
            width: parent.width
            height: Math.max(heading.height, symbol.height)

            Symbol {
                id: symbol
                anchors.verticalCenter: parent.verticalCenter
                symbol: "wifi.circle.fill"
                points: 24
                color: Theme.accent
            }
            PlainText {
                id: heading
                anchors { left: symbol.right; right: parent.right; leftMargin: Theme.size(8); verticalCenter: parent.verticalCenter }
                text: editor.title
                font { bold: true; pixelSize: Theme.size(15) }
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
        }
        PlainText {
            id: explanation
            width: parent.width
            text: "Enter the SSID of the WiFi network your iOS devices are connected to. Lanterna will associate its shared data with this name so that Rangefinder on those devices can find it."
        }
        Stack {
            width: parent.width
            height: fitted
            spacing: Theme.size(6)

            PlainText {
                id: fieldLabel
                width: parent.width
                text: "WiFi network name (SSID)"
                font { bold: true; pixelSize: Theme.bodyFont }
            }
            TextField {
                id: field
                width: parent.width
                height: Theme.size(30)
                text: editor.ssidInput
                maximumLength: 1000 // far beyond what is accepted; what is laid out has an end
                placeholderText: "e.g. MyHomeNetwork"
                placeholderTextColor: Theme.secondaryText
                font.pixelSize: Theme.bodyFont
                color: Theme.text
                selectByMouse: true
                leftPadding: Theme.size(8)
                rightPadding: Theme.size(8)
                Accessible.name: fieldLabel.text
                Accessible.description: warning.visible ? warning.text : explanation.text
                onTextChanged: editor.ssidInput = text
                Keys.onReturnPressed: editor.save()
                Keys.onEnterPressed: editor.save()
                background: Rectangle {
                    radius: Theme.size(6)
                    color: Theme.field
                    border { width: field.activeFocus ? 2 : 1; color: field.activeFocus ? Theme.focus : Theme.secondaryText }
                }
            }
            PlainText {
                id: warning
                width: parent.width
                visible: WiFiStub.tooLong(editor.ssidInput)
                text: "SSIDs are limited to 32 characters."
                color: Theme.danger
                font.pixelSize: Theme.smallFont
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }
        PlainText {
            width: parent.width
            text: "Note: this must match the SSID exactly, including capitalization. The stub is automatically ignored once this Mac connects to a real WiFi network."
            color: Theme.secondaryText
            font.pixelSize: Theme.smallFont
        }
        Item {
            width: parent.width
            height: saveButton.implicitHeight

            PushButton {
                anchors { right: saveButton.left; rightMargin: Theme.size(8) }
                width: Math.max(Theme.size(84), implicitWidth)
                text: "Cancel"
                takesReturn: false
                onClicked: editor.dismissed()
            }
            PushButton {
                id: saveButton
                anchors.right: parent.right
                width: Math.max(Theme.size(84), implicitWidth)
                text: editor.currentStub ? "Save" : "Create"
                prominent: true
                takesReturn: false
                enabled: editor.valid
                onClicked: editor.save()
            }
        }
    }
}
