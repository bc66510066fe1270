import QtQuick
import QtQuick.Layouts
import Lanterna

// The preferences.
LanternaWindow {
    id: preferences

    property bool showingLANDataPopover: false
    readonly property list<string> lanOptions: ["30", "60", "120", "300"]
    readonly property list<string> wanOptions: ["10", "30", "60", "360"]

    function items(options) {
        return options.map(option => ({text: option, tag: option}))
    }

    title: "Lanterna Prefs (6.36)"
    flags: Qt.Tool | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
    width: Math.max(Theme.size(380), content.implicitWidth + 2 * Theme.margin)
    height: Math.max(Theme.size(150), content.implicitHeight + 2 * Theme.margin)

    StoredSetting { id: lanFrequency; key: "updateFrequencyLAN"; fallback: "60"; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: wanFrequency; key: "updateFrequencyWAN"; fallback: "10"; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: launchAtLogin; key: "launchAtLogin"; fallback: true; onEdited: Program.applyLaunchAtLogin() }
    StoredSetting { id: showInterfaceName; key: "showInterfaceName"; fallback: false; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: whichIP; key: "whichIP"; fallback: 4; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: showCurrentUser; key: "showCurrentUser"; fallback: true; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: showMACAddresses; key: "showMACAddresses"; fallback: true; onEdited: Program.postPreferencesChanged() }
    StoredSetting { id: associatedWiFiNetwork; key: "associatedWiFiNetwork"; fallback: "current"; onEdited: Program.postPreferencesChanged() }

    onShowingLANDataPopoverChanged: {
        if (showingLANDataPopover)
            lanData.setSource("LANDataConfigView.qml", {showCurrentUser: showCurrentUser, showMACAddresses: showMACAddresses, associatedWiFiNetwork: associatedWiFiNetwork})
        else
            lanData.source = ""
    }

    component Caption: PlainText {
        Layout.alignment: Qt.AlignRight | Qt.AlignVCenter
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Keys.onEscapePressed: preferences.close()

        ColumnLayout {
            id: content

            anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
            spacing: Theme.size(12)

            Image {
                Layout.alignment: Qt.AlignHCenter
                source: Theme.symbol("lanterna")
                sourceSize: Qt.size(Theme.size(48), Theme.size(48))
                Accessible.role: Accessible.Graphic
                Accessible.name: "Lanterna"
            }
            GridLayout {
                Layout.fillWidth: true
                columns: 2
                columnSpacing: Theme.size(12)
                rowSpacing: Theme.size(8)

                Caption { id: displayLabel; text: "Display in menubar:" }
                Picker {
                    Layout.fillWidth: true
                    label: displayLabel.text
                    focus: true
                    model: [{text: "WAN IP", tag: 2}, {text: "Primary LAN IP", tag: 1}, {text: "Secondary LAN IP", tag: 3}, {text: "Icon Only (no IP)", tag: 4}]
                    tag: whichIP.value
                    onChosen: tag => whichIP.edit(tag)
                }
                Item { }
                CheckRow { text: "Display interface name"; setting: showInterfaceName }
                Caption { id: wanLabel; text: "WAN update frequency (mins)" }
                Picker {
                    Layout.fillWidth: true
                    label: wanLabel.text
                    model: preferences.items(preferences.wanOptions)
                    tag: wanFrequency.value
                    onChosen: tag => wanFrequency.edit(tag)
                }
                Caption { id: lanLabel; text: "LAN update frequency (secs)" }
                Picker {
                    Layout.fillWidth: true
                    label: lanLabel.text
                    model: preferences.items(preferences.lanOptions)
                    tag: lanFrequency.value
                    onChosen: tag => lanFrequency.edit(tag)
                }
                Item { }
                CheckRow { text: "Launch at login"; setting: launchAtLogin }
            }
            PushButton {
                id: lanDataButton
                Layout.fillWidth: true
                text: "Configure LAN data sharing"
                symbol: "gearshape"
                onClicked: preferences.showingLANDataPopover = true
            }
        }
        // Built anew each time it opens.
        Loader {
            id: lanData
            onLoaded: popover.open(item, lanDataButton)
            onStatusChanged: if (status === Loader.Error) preferences.showingLANDataPopover = false
        }
        Connections {
            target: lanData.item
            function onDismissed() {
                preferences.showingLANDataPopover = false
                popover.giveBackFocus()
            }
        }
        Popover {
            id: popover
            onDismissed: preferences.showingLANDataPopover = false
        }
    }
}
