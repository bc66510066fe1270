import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// A check box bound to a setting.
CheckBox {
    id: box

    required property StoredSetting setting

    function press() {
        toggle()
        toggled()
    }

    checked: setting.value === true
    font.pixelSize: Theme.bodyFont
    spacing: Theme.size(8)
    padding: 0
    onToggled: {
        setting.edit(checked)
        checked = Qt.binding(() => box.setting.value === true) // the click has broken it
    }
    Accessible.name: text
    Keys.onReturnPressed: press()
    Keys.onEnterPressed: press()
    indicator: Rectangle {
        x: 0
        y: (box.height - height) / 2
        implicitWidth: Theme.size(18)
        implicitHeight: Theme.size(18)
        radius: Theme.size(4)
        color: box.checked ? Theme.accent : Theme.field
        border.color: box.checked ? Qt.darker(Theme.accent, 1.2) : Theme.secondaryText
        opacity: box.down ? 0.8 : 1
        Symbol {
            anchors.centerIn: parent
            symbol: "checkmark"
            points: 12
            color: Theme.accentText
            visible: box.checked
        }
        FocusRing { shown: box.visualFocus; radius: Theme.size(6) }
    }
    contentItem: PlainText {
        leftPadding: box.indicator.width + box.spacing
        text: box.text
        verticalAlignment: Text.AlignVCenter
    }
}
