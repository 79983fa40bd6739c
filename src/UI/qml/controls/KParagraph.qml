import QtQuick
import Keelhaven

/// Plain text that wraps.
Text {
    textFormat: Text.PlainText
    color: Theme.text
    font.pixelSize: Theme.body
    lineHeight: 1.35
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Accessible.ignored: text === ""
}
