import QtQuick
import Keelhaven

/// The ring around what the keyboard is on. Place it in a control and bind `shown` to its visualFocus.
Rectangle {
    property bool shown: false
    property int gap: 2

    anchors.fill: parent
    anchors.margins: -gap
    radius: Theme.radius + gap
    color: "transparent"
    border.width: 2
    border.color: Theme.focus
    visible: shown
}
