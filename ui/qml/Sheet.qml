import QtQuick
import QtQuick.Window
import Lanterna

// A window over its transient parent, which waits until it is closed. `dismissed` asks the one who opened it to take it away.
LanternaWindow {
    id: sheet

    default property alias contents: holder.data
    required property real contentHeight
    property bool dimmed: false // while it waits for a window over it
    property Item firstFocus: null // has the keyboard first

    signal dismissed()

    flags: Qt.Dialog | Qt.FramelessWindowHint
    modality: Qt.WindowModal
    visible: false
    onContentHeightChanged: WindowPlaces.fit(sheet, contentHeight)
    onClosing: close => {
        close.accepted = false
        dismissed()
    }
    // Shown once its content is measured: a window manager keeps the size that a fixed window first had.
    Component.onCompleted: {
        WindowPlaces.overParent(sheet)
        firstFocus?.forceActiveFocus(Qt.OtherFocusReason)
        visible = true
        requestActivate()
    }

    FocusScope {
        anchors.fill: parent
        focus: true
        Keys.onEscapePressed: sheet.dismissed()

        // It has no frame to be moved by.
        DragHandler {
            target: null
            onActiveChanged: if (active) sheet.startSystemMove()
        }
        Item {
            id: holder
            anchors.fill: parent
        }
        WindowEdge { dimmed: sheet.dimmed }
    }
}
