import QtQuick
import Lanterna

// Text as it is, never as markup.
Text {
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    color: Theme.text
    font.pixelSize: Theme.bodyFont
}
