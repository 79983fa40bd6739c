import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// One line of text to type. `label` is its accessible name; what stands in an empty field is `placeholder`.
T.TextField {
    id: control

    property string label
    property string placeholder
    property string iconName
    property bool faulty: false

    implicitHeight: Theme.control
    implicitWidth: 200
    leftPadding: iconName !== "" ? 32 : 10
    rightPadding: 10
    verticalAlignment: TextInput.AlignVCenter
    color: enabled ? Theme.text : Theme.textOff
    selectionColor: Theme.accent
    selectedTextColor: Theme.accentInk
    font.family: Theme.family
    font.pixelSize: Theme.body
    selectByMouse: true
    maximumLength: 32767
    Accessible.name: label !== "" ? label : placeholder

    KText {
        x: control.leftPadding
        width: control.width - control.leftPadding - control.rightPadding
        height: control.height
        visible: control.text === "" && control.preeditText === ""
        text: control.placeholder
        color: Theme.textFaint
        Accessible.ignored: true
    }
    KIcon {
        x: 9
        anchors.verticalCenter: parent.verticalCenter
        name: control.iconName
        visible: name !== ""
        color: Theme.textFaint
    }
    background: Rectangle {
        radius: Theme.radius
        color: Theme.raised
        border.width: control.activeFocus ? 2 : 1
        border.color: control.activeFocus ? Theme.focus : control.faulty ? Theme.bad : control.hovered ? Theme.lineStrong : Theme.edge
    }
}
