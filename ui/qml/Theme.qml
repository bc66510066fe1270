pragma Singleton

import QtQuick
import Lanterna

// Colours and sizes of all windows.
QtObject {
    readonly property bool dark: Program.dark
    readonly property color window: dark ? "#2b2b2e" : "#f6f6f7"
    readonly property color card: dark ? "#37373b" : "#ffffff"
    readonly property color line: dark ? "#55555b" : "#d0d0d6"
    readonly property color text: dark ? "#f2f2f2" : "#1c1c1e"
    readonly property color secondaryText: dark ? "#b4b4ba" : "#5c5c62"
    readonly property color field: dark ? "#1f1f22" : "#ffffff"
    readonly property color button: dark ? "#4a4a4f" : "#ffffff"
    readonly property color accent: dark ? "#4b86ec" : "#2f6fde"
    readonly property color accentText: "#ffffff"
    readonly property color blue: dark ? "#7aadff" : "#1a5fd6" // of symbols
    readonly property color blueFill: "#1a5fd6" // under white text
    readonly property color danger: dark ? "#ff6b60" : "#c8261b" // as text
    readonly property color dangerFill: "#d62c20" // under white text
    readonly property color warning: dark ? "#ffb340" : "#b45f06"
    readonly property color focus: dark ? "#8ab4ff" : "#1f5fd0"

    readonly property int margin: size(16)
    readonly property int bodyFont: size(13)
    readonly property int smallFont: size(11)

    // A length or font size in points as pixels of this desktop.
    function size(points) {
        return Math.round(points * Program.scale)
    }
    // The address of one of our symbols.
    function symbol(name) {
        return "qrc:/lanterna/Lanterna/icons/" + name + ".svg"
    }
}
