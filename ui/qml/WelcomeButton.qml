import QtQuick
import QtQuick.Controls.Fusion
import Lanterna

// What both buttons of the welcome card have in common: the label, and how they give way under a press.
Button {
    id: button

    property color labelColor
    property int labelWeight

    leftPadding: Theme.size(24)
    rightPadding: Theme.size(24)
    topPadding: Theme.size(12)
    bottomPadding: Theme.size(12)
    font { pixelSize: Theme.size(16); weight: labelWeight }
    scale: down ? 0.96 : 1
    Accessible.name: text
    Behavior on scale {
        enabled: Program.animated
        NumberAnimation { duration: 100; easing.type: Easing.InOutQuad }
    }
    contentItem: PlainText {
        text: button.text
        font: button.font
        color: button.labelColor
        wrapMode: Text.NoWrap
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
}
