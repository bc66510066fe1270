import QtQuick
import Lanterna

// The edge of a window without a frame; dimmed while the window waits for another one over it, which has no shadow where nothing draws shadows.
Rectangle {
    property bool dimmed: false

    anchors.fill: parent
    color: dimmed ? Qt.rgba(0, 0, 0, Theme.dark ? 0.4 : 0.2) : "transparent"
    border.color: Theme.dark ? "#77777e" : "#a0a0a8"
}
