import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// A picker: shows the chosen item, and all of them in a list while open. `tag` is the value of the chosen one; a tag that no item has shows nothing.
ComboBox {
    id: picker

    property var tag
    property string label // what the picker is for, to be read out
    property string unlistedText: "" // shown for a tag that no item has
    property bool steps: true // whether arrow keys choose while the list is closed; otherwise they open it
    readonly property bool opened: list.visible
    readonly property int chosenIndex: model.findIndex(item => item.tag === tag) // not currentIndex, which the control moves by itself

    // The person chose an item, maybe the one that was chosen before.
    signal chosen(var tag)

    function open() {
        highlighted.index = Math.max(0, chosenIndex)
        list.open(picker.Window.window, mapToItem(null, 0, height + 2), mapToItem(null, 0, -2).y,
                  Qt.size(Math.max(width, list.wanted), Math.min(rows.contentHeight, rows.mostRows * Theme.size(28)) + 2 * rows.margin))
        rows.positionViewAtIndex(highlighted.index, ListView.Center)
    }
    function close() {
        list.hide()
    }
    function choose(index) {
        close()
        if (index >= 0 && index < count)
            chosen(model[index].tag)
    }
    function takeRow(event) {
        if (opened)
            choose(highlighted.index)
        else
            event.accepted = false
    }
    function step(by) {
        if (opened)
            highlighted.index = Math.min(count - 1, Math.max(0, highlighted.index + by))
        else if (steps)
            choose(Math.min(count - 1, Math.max(0, chosenIndex + by)))
        else
            open()
    }

    textRole: "text"
    valueRole: "tag"
    displayText: chosenIndex >= 0 && chosenIndex < model.length ? model[chosenIndex].text : unlistedText
    implicitHeight: Theme.size(28)
    font.pixelSize: Theme.bodyFont
    popup: null
    wheelEnabled: false
    Accessible.role: Accessible.ComboBox
    Accessible.name: label
    Accessible.description: displayText
    Accessible.onPressAction: open()
    Keys.onUpPressed: step(-1)
    Keys.onDownPressed: step(1)
    Keys.onPressed: event => {
        const steps = {[Qt.Key_PageUp]: -10, [Qt.Key_PageDown]: 10, [Qt.Key_Home]: -count, [Qt.Key_End]: count}
        if (event.key in steps && (opened || picker.steps))
            step(steps[event.key])
        // The control would show another item for these without choosing it.
        event.accepted = event.key in steps || (event.text > " " && !(event.modifiers & ~Qt.ShiftModifier))
    }
    Keys.onSpacePressed: opened ? choose(highlighted.index) : open()
    Keys.onReturnPressed: event => takeRow(event)
    Keys.onEnterPressed: event => takeRow(event)
    Keys.onEscapePressed: event => {
        if (opened)
            close()
        else
            event.accepted = false
    }
    QtObject {
        id: highlighted
        property int index: 0
    }
    // In front of the control's own handling, which would change the index by itself.
    MouseArea {
        anchors.fill: parent
        onPressed: {
            picker.forceActiveFocus(Qt.MouseFocusReason)
            if (picker.opened)
                picker.close()
            else
                picker.open()
        }
    }
    background: Rectangle {
        radius: Theme.size(6)
        color: Theme.button
        border.color: Theme.line
        FocusRing { shown: picker.visualFocus }
    }
    contentItem: PlainText {
        leftPadding: Theme.size(10)
        rightPadding: Theme.size(28) // the arrows
        text: picker.displayText
        elide: Text.ElideMiddle
        wrapMode: Text.NoWrap
        horizontalAlignment: Text.AlignLeft // names in any script
        verticalAlignment: Text.AlignVCenter
    }
    indicator: Symbol {
        x: picker.width - width - Theme.size(8)
        y: (picker.height - height) / 2
        symbol: "chevron.up.chevron.down"
        points: 14
        color: Theme.secondaryText
    }
    PickerList {
        id: list

        readonly property real wanted: Math.min(Theme.size(400), Math.ceil(widest.width) + Theme.size(48))

        color: Theme.card
        onDismissed: picker.close()

        TextMetrics {
            id: widest
            font: picker.font
            text: picker.model.reduce((longest, item) => item.text.length > longest.length ? item.text : longest, "")
        }
        Rectangle {
            anchors.fill: parent
            color: Theme.card
            border.color: Theme.line
            // Where the list has the keyboard (Wayland), its keys are the picker's.
            focus: true
            Keys.forwardTo: [picker]
        }
        ListView {
            id: rows

            readonly property real margin: Theme.size(4)
            readonly property int mostRows: 14 // the others are scrolled to

            anchors { fill: parent; margins: margin }
            clip: true
            interactive: contentHeight > height
            highlightMoveDuration: 0
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { policy: rows.interactive ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff }
            model: picker.model
            currentIndex: highlighted.index
            delegate: Rectangle {
                id: row
                required property int index
                required property var modelData

                width: ListView.view.width
                height: Theme.size(28)
                radius: Theme.size(4)
                color: ListView.isCurrentItem ? Theme.accent : "transparent"
                Accessible.role: Accessible.ListItem
                Accessible.name: modelData.text

                Symbol {
                    x: Theme.size(6)
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "checkmark"
                    points: 12
                    color: label.color
                    visible: row.index === picker.chosenIndex
                }
                PlainText {
                    id: label
                    anchors { fill: parent; leftMargin: Theme.size(24); rightMargin: Theme.size(8) }
                    text: row.modelData.text
                    wrapMode: Text.NoWrap
                    elide: Text.ElideMiddle
                    horizontalAlignment: Text.AlignLeft
                    verticalAlignment: Text.AlignVCenter
                    color: row.ListView.isCurrentItem ? Theme.accentText : Theme.text
                }
                MouseArea {
                    anchors.fill: parent
                    hoverEnabled: true
                    onPositionChanged: highlighted.index = row.index // not onEntered: scrolling by keys moves rows under a resting pointer
                    onClicked: picker.choose(row.index)
                }
            }
        }
    }
}
