import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// The activity log: what was published for each network, and a way to delete a network's entry.
Sheet {
    id: logs

    property bool showingDeleteAlert: false
    property string networkToDelete: "" // meant while the alert is shown

    function askDeletion(name) {
        networkToDelete = name
        showingDeleteAlert = true
    }
    function deletionAnswered(button) {
        showingDeleteAlert = false
        if (button === 0)
            log.deleteNetwork(networkToDelete)
        networkToDelete = ""
    }

    title: "Recent Activity"
    width: Theme.size(440)
    contentHeight: header.height + list.height + 2 * Theme.margin + Theme.size(12)
    dimmed: showingDeleteAlert
    firstFocus: log.count > 0 ? list : closeButton

    ActivityLog { id: log }

    Item {
        id: header
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
        height: texts.fitted

        Stack {
            id: texts
            anchors { left: parent.left; right: closeButton.left; rightMargin: Theme.size(8) }
            spacing: Theme.size(4)

            PlainText {
                width: parent.width
                text: logs.title
                font { bold: true; pixelSize: Theme.size(15) }
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            PlainText {
                width: parent.width
                text: log.lastUpdate
                color: Theme.secondaryText
                font.pixelSize: Theme.size(10)
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        SymbolButton {
            id: closeButton
            anchors.right: parent.right
            y: -Theme.size(4)
            symbol: "xmark.circle.fill"
            help: "Close"
            framed: false
            onClicked: logs.dismissed()
        }
    }
    Rectangle {
        anchors { fill: list; margins: -1 }
        radius: Theme.size(8)
        color: Theme.card
        border.color: Theme.line
    }
    PlainText {
        anchors.centerIn: list
        visible: log.count === 0
        text: "No recent activity"
        color: Theme.secondaryText
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    ListView {
        id: list

        readonly property int rowHeight: Theme.size(44)
        property bool fromKeyboard: false // whether a key was the last that touched it
        property bool wasLeft: false // it has the focus when the sheet opens, which is no use of the keyboard yet

        anchors { left: parent.left; right: parent.right; top: header.bottom; margins: Theme.margin; topMargin: Theme.size(12) }
        height: rowHeight * Math.min(8, Math.max(3, log.count))
        clip: true
        activeFocusOnTab: log.count > 0
        highlightMoveDuration: 0
        boundsBehavior: Flickable.StopAtBounds
        model: log
        Accessible.role: Accessible.List
        Accessible.name: "Recent Activity"
        ScrollBar.vertical: ScrollBar { policy: list.contentHeight > list.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff }
        onActiveFocusChanged: {
            wasLeft = wasLeft || (!activeFocus && logs.active)
            fromKeyboard = activeFocus && wasLeft
        }
        Keys.onPressed: event => {
            fromKeyboard = true
            const page = Math.max(1, Math.floor(height / rowHeight) - 1)
            const steps = {[Qt.Key_PageUp]: -page, [Qt.Key_PageDown]: page, [Qt.Key_Home]: -count, [Qt.Key_End]: count}
            if (event.key in steps)
                currentIndex = Math.max(0, Math.min(count - 1, currentIndex + steps[event.key]))
            else if ([Qt.Key_Delete, Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter].includes(event.key) && currentItem)
                logs.askDeletion(currentItem.name)
            else
                event.accepted = false
        }
        // qmllint disable unqualified
        delegate: ActivityRow {
            width: ListView.view.width
            height: list.rowHeight
            selected: ListView.isCurrentItem && list.activeFocus && list.fromKeyboard
            scrollBarWidth: list.ScrollBar.vertical.size < 1 ? list.ScrollBar.vertical.width : 0
            onDeletionAsked: {
                list.fromKeyboard = false
                logs.askDeletion(name)
            }
        }
    }
    Loader {
        active: logs.showingDeleteAlert
        onActiveChanged: if (!active) logs.requestActivate()
        sourceComponent: AlertWindow {
            transientParent: logs
            message: "Delete Network"
            informativeText: log.deletionMessage(logs.networkToDelete)
            buttons: ["Delete", "Cancel"]
            defaultButton: 1
            cancelButton: 1
            destructiveButton: 0
            onChosen: button => logs.deletionAnswered(button)
        }
        // qmllint enable unqualified
    }
}
