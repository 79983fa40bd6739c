import QtQuick
import Keelhaven

/// A whole number between `least` and `most`, by `step`. `text` is how it is shown; up and down, plus and minus
/// change it. A value that is between two steps goes to the next one.
FocusScope {
    id: root

    property int value: 0
    property int least: 0
    property int most: 100
    property int step: 1
    property string text: String(value)
    property string label

    signal changed(int value)

    implicitHeight: Theme.control
    implicitWidth: Math.max(56, caption.implicitWidth + 20) + 2 * Theme.control
    activeFocusOnTab: true
    Accessible.role: Accessible.SpinBox
    Accessible.name: label
    Accessible.description: text
    Accessible.focusable: true
    Accessible.onIncreaseAction: move(1)
    Accessible.onDecreaseAction: move(-1)

    function move(direction) {
        const steps = (value - least) / step;
        const next = direction > 0 ? Math.floor(steps) + 1 : Math.ceil(steps) - 1;
        const wanted = Math.max(least, Math.min(most, least + next * step));
        if (wanted !== value)
            changed(wanted);
    }
    Keys.onPressed: event => {
        switch (event.key) {
        case Qt.Key_Up:
        case Qt.Key_Right:
        case Qt.Key_Plus:
            move(1);
            break;
        case Qt.Key_Down:
        case Qt.Key_Left:
        case Qt.Key_Minus:
            move(-1);
            break;
        case Qt.Key_Home:
            if (value !== least)
                changed(least);
            break;
        case Qt.Key_End:
            if (value !== most)
                changed(most);
            break;
        default:
            return;
        }
        event.accepted = true;
    }

    component Side: Item {
        id: side
        property int direction: 1
        readonly property bool isOpen: root.enabled && (direction > 0 ? root.value < root.most : root.value > root.least)

        width: Theme.control
        height: parent.height
        Rectangle {
            anchors.fill: parent
            anchors.margins: 3
            radius: Theme.radiusSmall
            color: !side.isOpen ? "transparent" : press.pressed ? Theme.pressed : over.hovered ? Theme.hover : "transparent"
        }
        Rectangle {
            anchors.centerIn: parent
            width: 10
            height: 1.4
            color: side.isOpen ? Theme.text : Theme.textOff
        }
        Rectangle {
            anchors.centerIn: parent
            visible: side.direction > 0
            width: 1.4
            height: 10
            color: side.isOpen ? Theme.text : Theme.textOff
        }
        HoverHandler { id: over }
        MouseArea {
            id: press
            anchors.fill: parent
            onPressed: {
                root.forceActiveFocus(Qt.MouseFocusReason);
                root.byKey = false;
                root.move(side.direction);
            }
        }
        Timer {
            interval: wait ? 400 : 70
            property bool wait: true
            running: press.pressed && side.isOpen
            repeat: true
            onRunningChanged: wait = true
            onTriggered: {
                wait = false;
                root.move(side.direction);
            }
        }
    }
    property bool byKey: true
    onActiveFocusChanged: if (!activeFocus) byKey = true

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: Theme.raised
        border.width: 1
        border.color: Theme.edge
        KFocus { shown: root.activeFocus && root.byKey }
    }
    Side { direction: -1 }
    KText {
        id: caption
        anchors.centerIn: parent
        text: root.text
        color: root.enabled ? Theme.text : Theme.textOff
        Accessible.ignored: true
    }
    Side {
        anchors.right: parent.right
        direction: 1
    }
}
