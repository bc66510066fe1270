import QtQuick
import Lanterna

// The soft shadow of its parent, a box with rounded corners.
BorderImage {
    id: shadow

    required property int radius // of the parent's corners
    required property int extent // how far the shadow reaches
    property int drop // how far below the parent it lies
    property string tint: "000000"

    anchors { fill: parent; margins: -extent; topMargin: drop - extent; bottomMargin: -drop - extent }
    z: -1
    border { left: 2 * extent + radius; right: border.left; top: border.left; bottom: border.left }
    source: "image://shadow/" + radius + "/" + extent + "/" + tint
}
