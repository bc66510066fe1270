import QtQuick
import Lanterna

// One thing that the program does: its symbol, and beside it title and description.
Item {
    id: row

    required property string icon // a symbol's name
    required property string title
    required property string description

    implicitHeight: Math.max(plate.height, texts.height)
    Accessible.role: Accessible.StaticText
    Accessible.name: title
    Accessible.description: description

    Rectangle {
        id: plate
        anchors.verticalCenter: parent.verticalCenter
        width: Theme.size(44)
        height: width
        radius: Theme.size(11)
        color: Qt.rgba(Theme.blue.r, Theme.blue.g, Theme.blue.b, 0.1)
        Symbol {
            anchors.centerIn: parent
            symbol: row.icon
            points: 24 // as large as a symbol in a font of 20 points
            color: Theme.blue
        }
    }
    Column {
        id: texts
        anchors { left: plate.right; leftMargin: Theme.size(14); right: parent.right; verticalCenter: parent.verticalCenter }
        spacing: Theme.size(2)
        PlainText {
            width: parent.width
            text: row.title
            font { pixelSize: Theme.size(14); weight: Font.DemiBold }
            Accessible.ignored: true
        }
        PlainText {
            width: parent.width
            text: row.description
            color: Theme.secondaryText
            font.pixelSize: Theme.size(12)
            Accessible.ignored: true
        }
    }
}
