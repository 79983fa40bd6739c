import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// One line of a KMenu.
T.MenuItem {
    id: control

    property string iconName
    property bool danger: false
    property string help
    readonly property color ink: !enabled ? Theme.textOff : danger ? Theme.bad : Theme.text

    implicitHeight: 30
    implicitWidth: label.implicitWidth + 34 + 14
    leftPadding: 34
    rightPadding: 14
    font.family: Theme.family
    font.pixelSize: Theme.body
    Accessible.name: text
    Accessible.description: help

    indicator: KIcon {
        x: 10
        y: (control.height - height) / 2
        size: 14
        name: control.checkable ? (control.checked ? "check" : "") : control.iconName
        color: control.ink
    }
    contentItem: KText {
        id: label
        text: control.text
        font: control.font
        color: control.ink
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: Theme.radiusSmall
        color: control.highlighted && control.enabled ? Theme.selected : "transparent"
    }
}
