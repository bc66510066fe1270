import QtQuick
import QtQuick.Controls.impl
import Lanterna

// One of our symbols in a colour.
IconImage {
    property string symbol
    property real points: 16

    name: ""
    source: symbol ? Theme.symbol(symbol) : ""
    sourceSize: Qt.size(Theme.size(points), Theme.size(points))
    width: Theme.size(points)
    height: Theme.size(points)
    color: Theme.text
    Accessible.ignored: true
}
