import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A button: `kind` is "plain", "primary", "quiet" (no frame until the pointer is on it) or "danger". A button
/// that is off may say why in `help`; so may one that is on.
T.Button {
    id: control

    property string kind: "plain"
    property string iconName
    property string trailingIcon
    property string help
    property bool compact: false
    readonly property bool isIcon: text === ""

    readonly property color ink: !enabled ? Theme.textOff
        : kind === "primary" ? Theme.accentInk
        : kind === "danger" ? Theme.bad
        : kind === "quiet" ? (hovered || visualFocus ? Theme.text : Theme.textSoft)
        : Theme.text

    implicitHeight: compact ? Theme.controlSmall : Theme.control
    implicitWidth: Math.max(implicitHeight, implicitContentWidth + leftPadding + rightPadding)
    leftPadding: isIcon ? 0 : compact ? 8 : 12
    rightPadding: leftPadding
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    font.family: Theme.family
    font.pixelSize: compact ? Theme.small : Theme.body
    font.weight: kind === "primary" ? Font.DemiBold : Font.Medium
    Accessible.name: text !== "" ? text : help
    Accessible.description: text !== "" ? help : ""
    Keys.onReturnPressed: if (enabled) clicked()
    Keys.onEnterPressed: if (enabled) clicked()

    contentItem: Item {
        implicitWidth: (icon.visible ? icon.width : 0) + (label.visible ? label.implicitWidth : 0)
            + (trailing.visible ? trailing.width + 6 : 0) + (icon.visible && label.visible ? 6 : 0)
        implicitHeight: 20

        KIcon {
            id: icon
            x: control.isIcon ? (parent.width - width) / 2 : 0
            anchors.verticalCenter: parent.verticalCenter
            visible: control.iconName !== ""
            name: control.iconName
            size: control.compact ? 14 : 16
            color: control.ink
        }
        KText {
            id: label
            x: icon.visible ? icon.width + 6 : 0
            width: parent.width - x - (trailing.visible ? trailing.width + 6 : 0)
            height: parent.height
            visible: !control.isIcon
            text: control.text
            font: control.font
            color: control.ink
            Accessible.ignored: true
        }
        KIcon {
            id: trailing
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            visible: control.trailingIcon !== ""
            name: control.trailingIcon
            size: 12
            color: control.ink
        }
    }

    background: Rectangle {
        radius: Theme.radius
        color: control.kind === "primary"
            ? (!control.enabled ? Theme.line : control.down ? Theme.accentPressed : control.hovered ? Theme.accentHover : Theme.accent)
            : control.down ? Theme.pressed
            : control.hovered && control.enabled ? Theme.hover
            : control.kind === "quiet" ? "transparent"
            : Theme.raised
        border.width: control.kind === "primary" || control.kind === "quiet" ? 0 : 1
        border.color: !control.enabled ? Theme.line : control.hovered ? Theme.lineStrong : Theme.edge

        KFocus { shown: control.visualFocus }
    }

    KTooltip {
        text: control.help
        visible: control.help !== "" && hover.hovered
    }
    // A disabled button hears no pointer of its own, and its reason is what one wants to read then.
    HoverHandler { id: hover }
}
