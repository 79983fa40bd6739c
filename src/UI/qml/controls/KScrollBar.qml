import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Slim, and only there while there is something to scroll.
T.ScrollBar {
    id: control

    implicitWidth: vertical ? 10 : 100
    implicitHeight: vertical ? 100 : 10
    padding: 2
    minimumSize: 0.06
    visible: size < 1.0
    policy: size < 1.0 ? T.ScrollBar.AlwaysOn : T.ScrollBar.AsNeeded
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        implicitHeight: 6
        radius: 3
        color: Theme.textFaint
        opacity: control.pressed ? 0.8 : control.hovered ? 0.6 : 0.28
    }
}
