import QtQuick
import Keelhaven

/// A line of plain text. Nothing in it is ever taken for markup.
Text {
    textFormat: Text.PlainText
    color: Theme.text
    font.pixelSize: Theme.body
    elide: Text.ElideRight
    maximumLineCount: 1
    verticalAlignment: Text.AlignVCenter
    // Lines below each other begin below each other, whichever way their text is written.
    horizontalAlignment: Text.AlignLeft
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Accessible.ignored: text === ""
}
