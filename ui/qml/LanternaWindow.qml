import QtQuick
import QtQuick.Window
import Lanterna

// What every window has in common: colours that follow the desktop, and a size of its own that nobody can change.
Window {
    id: window

    title: "Lanterna"
    color: Theme.window
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    palette {
        window: Theme.window
        windowText: Theme.text
        base: Theme.field
        alternateBase: Theme.card
        text: Theme.text
        button: Theme.button
        buttonText: Theme.text
        brightText: Theme.accentText
        highlight: Theme.accent
        highlightedText: Theme.accentText
        light: Qt.lighter(Theme.button, 1.1)
        midlight: Qt.lighter(Theme.line, 1.1)
        mid: Theme.line
        dark: Qt.darker(Theme.line, 1.3)
        shadow: "#000000"
        link: Theme.accent
        toolTipBase: Theme.card
        toolTipText: Theme.text
    }
}
