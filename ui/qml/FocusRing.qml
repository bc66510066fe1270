import QtQuick
import Lanterna

// Tells where the keyboard's focus is; stands outside its parent, so that it shows on filled buttons too.
Rectangle {
    property bool shown: parent.visualFocus

    anchors { fill: parent; margins: -3 }
    radius: Theme.size(8)
    color: "transparent"
    border { width: 2; color: Theme.focus }
    visible: shown
}
