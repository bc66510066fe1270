import QtQuick
import QtQuick.Window
import Lanterna

// The LAN data sharing panel: what is shared, and under which network's name it is filed. `dismissed` asks the preferences to take it away.
LanternaWindow {
    id: panel

    required property StoredSetting showCurrentUser
    required property StoredSetting showMACAddresses
    required property StoredSetting associatedWiFiNetwork
    readonly property real contentHeight: content.fitted + 2 * Theme.margin
    property bool showingPrivacyAlert: false
    property bool showingLogsWindow: false
    property bool showingStubInfoAlert: false
    property bool showingDeleteSelectionAlert: false

    property Item lastFocused: null // the control that has the keyboard, or had it before it was hidden

    signal dismissed()

    function stubInfoAnswered(button) {
        showingStubInfoAlert = false
        config.showingStubCreator = button === 0
    }
    function removalAnswered(button) {
        showingDeleteSelectionAlert = false
        if (button === 1)
            config.removeNetwork()
    }
    function fitContent() {
        WindowPlaces.fit(panel, contentHeight)
    }
    // What had the keyboard may be hidden by what it did.
    function keepFocus() {
        if (lastFocused && !lastFocused.visible)
            picker.forceActiveFocus(Qt.TabFocusReason)
    }
    function askRemoval() {
        showingDeleteSelectionAlert = config.askRemoval()
    }

    title: "LAN Data Sharing"
    flags: Qt.Dialog | Qt.FramelessWindowHint
    onActiveFocusItemChanged: if (activeFocusItem?.activeFocusOnTab) lastFocused = activeFocusItem
    width: Theme.size(420)
    // Once for all that changes together: one banner goes and another comes.
    onContentHeightChanged: visible ? Qt.callLater(fitContent) : fitContent()
    onClosing: close => {
        close.accepted = false
        dismissed()
    }

    LANDataConfig {
        id: config
        associatedWiFiNetwork: panel.associatedWiFiNetwork
        wiFiStubSSID: StoredSetting { key: "wiFiStubSSID"; fallback: "" }
        realWiFiAvailable: StoredSetting { key: "realWiFiAvailable"; fallback: false }
        onBannersChanged: Qt.callLater(panel.keepFocus)
        onSelectionChanged: Qt.callLater(panel.keepFocus)
    }

    // A window that is there while it is asked for; afterwards the panel has the keyboard again.
    component Opened: Loader {
        onActiveChanged: if (!active) panel.requestActivate() // qmllint disable unqualified
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Accessible.role: Accessible.Dialog
        Accessible.name: title.text
        Keys.onEscapePressed: panel.dismissed()

        Stack {
            id: content
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
            spacing: Theme.size(12)

            PlainText {
                id: title
                width: parent.width
                text: "LAN Data Sharing"
                font { bold: true; pixelSize: Theme.size(15) }
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            StubBanner {
                width: parent.width
                visible: config.showingStubBanner
                text: config.stubText
                onRemoved: config.removeStub()
            }
            EthernetWarning {
                width: parent.width
                visible: config.showingEthernetWarning
                onClicked: panel.showingStubInfoAlert = true
            }
            CheckRow {
                text: "Current logged-in user name"
                setting: panel.showCurrentUser
                focus: true
            }
            CheckRow {
                text: "MAC addresses for all discovered devices"
                setting: panel.showMACAddresses
            }
            Stack {
                width: parent.width
                height: fitted
                spacing: Theme.size(6)

                PlainText {
                    id: pickerLabel
                    width: parent.width
                    text: "Associate data with WiFi network:"
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                Item {
                    width: parent.width
                    height: picker.implicitHeight

                    Picker {
                        id: picker
                        anchors { left: parent.left; right: trash.left; rightMargin: Theme.size(8) }
                        label: pickerLabel.text
                        steps: false
                        model: config.items
                        tag: panel.associatedWiFiNetwork.value
                        unlistedText: config.selectionText
                        onChosen: tag => config.choose(tag)
                    }
                    // Its place stays while it is hidden, so that the picker keeps its width.
                    SymbolButton {
                        id: trash
                        anchors.right: parent.right
                        visible: config.networkSelected
                        symbol: "trash"
                        help: "Remove the selected network from the list"
                        onClicked: panel.askRemoval()
                    }
                }
            }
            Item {
                width: parent.width
                height: logs.implicitHeight

                PushButton {
                    id: logs
                    text: "Logs"
                    symbol: "list.bullet.rectangle"
                    onClicked: panel.showingLogsWindow = true
                }
                PushButton {
                    anchors.right: parent.right
                    text: "iCloud Data Privacy"
                    symbol: "lock.shield"
                    onClicked: panel.showingPrivacyAlert = true
                }
            }
        }
        WindowEdge {
            dimmed: panel.showingPrivacyAlert || panel.showingLogsWindow || panel.showingStubInfoAlert || panel.showingDeleteSelectionAlert || config.showingStubCreator
        }
        // qmllint disable unqualified
        Opened {
            active: config.showingStubCreator
            sourceComponent: WiFiStubCreatorView {
                transientParent: panel
                currentStub: config.stub
                onSaved: ssid => config.saveStub(ssid)
                onDismissed: config.showingStubCreator = false
            }
        }
        Opened {
            active: panel.showingLogsWindow
            sourceComponent: LogsWindow {
                transientParent: panel
                onDismissed: panel.showingLogsWindow = false
            }
        }
        Opened {
            active: panel.showingPrivacyAlert
            sourceComponent: AlertWindow {
                transientParent: panel
                message: "iCloud Data Privacy"
                informativeText: config.privacyMessage
                buttons: ["OK"]
                defaultButton: 0
                cancelButton: 0
                destructiveButton: -1
                onChosen: panel.showingPrivacyAlert = false
            }
        }
        Opened {
            active: panel.showingStubInfoAlert
            sourceComponent: AlertWindow {
                transientParent: panel
                message: "No Active WiFi Network"
                informativeText: config.stubInfoMessage
                buttons: ["Create WiFi Stub…", "Cancel"]
                defaultButton: 0
                cancelButton: 1
                destructiveButton: -1
                onChosen: button => panel.stubInfoAnswered(button)
            }
        }
        Opened {
            active: panel.showingDeleteSelectionAlert
            sourceComponent: AlertWindow {
                transientParent: panel
                message: "Remove Network"
                informativeText: config.removalMessage
                buttons: ["Cancel", "Remove"]
                defaultButton: 0
                cancelButton: 0
                destructiveButton: 1
                onChosen: button => panel.removalAnswered(button)
            }
        }
        // qmllint enable unqualified
    }
}
