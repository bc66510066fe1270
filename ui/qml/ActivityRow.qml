import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// One network of the activity log.
Item {
    id: row

    required property int index
    required property string name
    required property string label
    required property string lastUpdate
    required property bool current // the network in use
    property bool selected: false // by the keyboard
    property real scrollBarWidth: 0

    signal deletionAsked()

    Accessible.role: Accessible.ListItem
    Accessible.name: current ? label + ", current network" : label
    Accessible.description: lastUpdate

    Rectangle {
        anchors { fill: parent; margins: 3 }
        radius: Theme.size(6)
        color: Theme.currentNetwork
        opacity: Theme.dark ? 0.28 : 0.16
        visible: row.current
    }
    // The colour itself beside a tint of it: names in this colour would be hard to read.
    Rectangle {
        x: Theme.size(7)
        y: Theme.size(8)
        width: Theme.size(4)
        height: parent.height - 2 * y
        radius: width / 2
        color: Theme.currentNetwork
        visible: row.current
    }
    Rectangle {
        anchors { fill: parent; margins: 2 }
        radius: Theme.size(6)
        color: "transparent"
        border { width: 2; color: Theme.focus }
        visible: row.selected
    }
    Rectangle {
        anchors { bottom: parent.bottom; left: parent.left; right: parent.right; leftMargin: Theme.size(18); rightMargin: Theme.size(12) }
        height: 1
        color: Theme.line
        opacity: 0.6
        visible: row.ListView.view && row.index < row.ListView.view.count - 1
    }
    Stack {
        anchors { left: parent.left; right: remove.left; leftMargin: Theme.size(18); rightMargin: Theme.size(8) }
        y: (parent.height - fitted) / 2
        spacing: Theme.size(2)

        PlainText {
            width: parent.width
            text: row.label
            font { bold: row.current; pixelSize: Theme.bodyFont }
            wrapMode: Text.NoWrap
            elide: Text.ElideMiddle
            horizontalAlignment: Text.AlignLeft
        }
        PlainText {
            width: parent.width
            text: row.lastUpdate
            visible: text.length > 0
            color: Theme.secondaryText
            font.pixelSize: Theme.smallFont
            wrapMode: Text.NoWrap
            elide: Text.ElideRight
            horizontalAlignment: Text.AlignLeft
        }
    }
    AbstractButton {
        id: remove
        anchors { right: parent.right; rightMargin: Theme.size(6) + row.scrollBarWidth; verticalCenter: parent.verticalCenter }
        width: Math.max(Theme.size(48), implicitWidth)
        height: Theme.size(32)
        text: "Delete"
        hoverEnabled: true
        focusPolicy: Qt.NoFocus // the list has the keyboard, and its Delete key does the same
        Accessible.name: "Delete " + row.label
        onClicked: row.deletionAsked()
        background: Rectangle {
            anchors { fill: parent; topMargin: Theme.size(5); bottomMargin: Theme.size(5) }
            radius: Theme.size(5)
            color: "transparent"
            border.color: remove.hovered ? Theme.danger : "transparent"
            opacity: remove.down ? 0.6 : 1
        }
        contentItem: PlainText {
            text: remove.text
            color: Theme.danger
            font.pixelSize: Theme.size(9)
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }
}
