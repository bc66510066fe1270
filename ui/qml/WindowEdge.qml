import QtQuick
import Lanterna

// The thin edge of a window without a frame.
Rectangle {
    anchors.fill: parent
    color: "transparent"
    border.color: Theme.line
}
