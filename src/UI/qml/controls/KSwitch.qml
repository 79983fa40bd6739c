import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// On or off, at once. `label` is its accessible name where no text stands beside it.
T.Switch {
    id: control

    property string label
    property string help

    implicitWidth: text === "" ? 34 : caption.implicitWidth
    implicitHeight: 24
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.name: label !== "" ? label : text
    Accessible.description: help
    Keys.onReturnPressed: if (enabled) { toggle(); toggled(); }

    indicator: Rectangle {
        y: (control.height - height) / 2
        width: 34
        height: 20
        radius: 10
        color: !control.enabled ? (control.checked ? Theme.lineStrong : "transparent")
            : control.checked ? (control.hovered ? Theme.accentHover : Theme.accent)
            : control.hovered ? Theme.lineStrong : Theme.line
        border.width: control.enabled ? (control.checked ? 0 : 1) : 1
        border.color: control.enabled ? Theme.lineStrong : Theme.edge

        Rectangle {
            width: 14
            height: 14
            radius: 7
            y: 3
            x: control.checked ? parent.width - width - 3 : 3
            color: !control.enabled ? Theme.textOff : control.checked ? Theme.accentInk : Theme.dark ? Theme.textSoft : "#ffffff"
            border.width: control.enabled && !control.checked && !Theme.dark ? 1 : 0
            border.color: Theme.lineStrong

            Behavior on x { NumberAnimation { duration: Theme.fast; easing.type: Easing.OutCubic } }
        }
        KFocus { shown: control.visualFocus; radius: 12 }
    }
    contentItem: KText {
        id: caption
        leftPadding: control.text === "" ? 0 : 42
        text: control.text
        color: control.enabled ? Theme.text : Theme.textOff
        Accessible.ignored: true
    }
    KTooltip {
        text: control.help
        visible: control.help !== "" && hover.hovered
    }
    HoverHandler { id: hover }
}
