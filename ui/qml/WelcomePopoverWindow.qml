import QtQuick
import Lanterna

// The welcome card. It closes itself by asking for it: `dismiss`.
LanternaWindow {
    id: window

    required property bool blends // whether what is behind the window shows through
    property bool isAnimating: false
    readonly property int cornerRadius: Theme.size(18)

    // Room for the shadow, where there can be one.
    readonly property int rim: blends ? Theme.size(20) : 0

    signal preferencesRequested
    signal dismiss

    function acknowledge() {
        shown.edit(true)
        dismiss()
    }

    title: "Welcome to Lanterna"
    flags: Qt.Dialog | Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint | Qt.NoDropShadowWindowHint
    color: blends ? "transparent" : Theme.line
    width: Theme.size(480) + 2 * rim
    height: card.height + 2 * rim
    onClosing: close => {
        close.accepted = false
        dismiss()
    }
    onFrameSwapped: isAnimating = true // seen from here on

    StoredSetting { id: shown; key: "hasShownWelcomePopover"; fallback: false }
    WelcomeEntrance { id: entrance; animated: Program.animated }
    NumberAnimation {
        target: entrance
        property: "seconds"
        from: 0
        to: entrance.duration
        duration: 1000 * entrance.duration
        running: window.isAnimating && Program.animated
    }

    // What comes in together.
    component Block: Column {
        id: block
        required property int turn
        opacity: entrance.arrivals[turn]
        transform: Translate { y: Theme.size(20) * (1 - block.opacity) }
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Accessible.role: Accessible.Dialog
        Accessible.name: window.title
        Keys.onEscapePressed: window.dismiss()
        // Return is the first button wherever the focus is; Space presses the button that has it.
        Keys.onReturnPressed: preferencesButton.clicked()
        Keys.onEnterPressed: preferencesButton.clicked()

        Rectangle {
            id: card

            readonly property int needed: icon.height + header.height + features.height + hint.height + buttons.height
            readonly property int gap: Theme.size(12)
            readonly property real spare: (height - 2 * content.anchors.margins - needed - gap) / 3

            anchors { left: parent.left; right: parent.right; top: parent.top; margins: window.rim }
            // Taller only where a font needs it.
            height: Math.max(Theme.size(540), needed + 4 * gap + 2 * content.anchors.margins)
            radius: window.cornerRadius
            color: Theme.window
            border { width: 1; color: Theme.line }

            Shadow {
                radius: card.radius
                extent: Theme.size(15)
                drop: Theme.size(5)
                opacity: 0.25
                visible: window.blends
            }
            Item {
                id: content
                anchors { fill: parent; margins: Theme.size(32) }

                Item {
                    id: icon
                    objectName: "Lanterna"
                    anchors.horizontalCenter: parent.horizontalCenter
                    width: Theme.size(80)
                    height: width
                    scale: entrance.iconScale
                    opacity: entrance.iconOpacity
                    Shadow {
                        radius: Theme.size(18)
                        extent: Theme.size(9)
                        drop: Theme.size(3)
                        opacity: 0.2
                    }
                    Image {
                        anchors.fill: parent
                        source: Theme.symbol("lanterna")
                        sourceSize: Qt.size(width, height)
                        Accessible.role: Accessible.Graphic
                        Accessible.name: "Lanterna"
                    }
                }
                Block {
                    id: header
                    turn: 0
                    anchors { left: parent.left; right: parent.right; top: icon.bottom; topMargin: card.gap }
                    spacing: Theme.size(4)
                    PlainText {
                        width: parent.width
                        horizontalAlignment: Text.AlignHCenter
                        text: "Welcome to Lanterna"
                        font { pixelSize: Theme.size(28); weight: Font.DemiBold }
                    }
                    PlainText {
                        width: parent.width
                        horizontalAlignment: Text.AlignHCenter
                        text: "Network information at your fingertips"
                        color: Theme.secondaryText
                        font.pixelSize: Theme.size(16)
                    }
                }
                Block {
                    id: features
                    turn: 1
                    anchors { left: parent.left; right: parent.right; top: header.bottom; topMargin: card.spare }
                    spacing: Theme.size(14)
                    FeatureRow {
                        width: parent.width
                        icon: "wifi"
                        title: "Network Interfaces"
                        description: "View all active network interfaces and WAN IP directly in your menubar"
                    }
                    FeatureRow {
                        width: parent.width
                        icon: "antenna.radiowaves.left.and.right"
                        title: "Bonjour Broadcasting"
                        description: "Share the name of the currently logged-in user via Bonjour for real-time discovery by Rangefinder"
                    }
                    FeatureRow {
                        width: parent.width
                        icon: "externaldrive.connected.to.line.below"
                        title: "MAC Address Sharing"
                        description: "Share device MAC addresses with iOS devices via iCloud (Optional)"
                    }
                }
                Block {
                    id: hint
                    turn: 2
                    anchors { left: parent.left; right: parent.right; top: features.bottom; topMargin: card.spare }
                    spacing: Theme.size(4)
                    PlainText {
                        width: parent.width
                        horizontalAlignment: Text.AlignHCenter
                        text: "Please take a moment to review your preferences"
                        font { pixelSize: Theme.size(16); weight: Font.Medium }
                    }
                    PlainText {
                        width: parent.width
                        horizontalAlignment: Text.AlignHCenter
                        text: "You can access preferences anytime from the menubar"
                        color: Theme.secondaryText
                        font.pixelSize: Theme.size(12)
                    }
                }
                Block {
                    id: buttons
                    turn: 3
                    anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom }
                    Row {
                        spacing: Theme.size(14)
                        PrimaryButtonStyle {
                            id: preferencesButton
                            text: "Open Preferences"
                            focus: true
                            onClicked: {
                                window.preferencesRequested()
                                window.acknowledge()
                            }
                        }
                        SecondaryButtonStyle {
                            text: "Continue"
                            onClicked: window.acknowledge()
                        }
                    }
                }
            }
        }
    }
}
