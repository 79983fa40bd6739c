import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// One of a few, all of them in sight. Left and right change it.
FocusScope {
    id: root

    property var model: []
    property int currentIndex: 0
    property string label

    signal chosen(int index)

    implicitHeight: Theme.control
    implicitWidth: row.implicitWidth + 4
    activeFocusOnTab: true
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    function step(by) {
        const next = currentIndex + by;
        if (next >= 0 && next < model.length)
            chosen(next);
    }
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: Theme.sunken
        border.width: 1
        border.color: Theme.line

        KFocus { shown: root.activeFocus }
    }
    Row {
        id: row
        x: 2
        y: 2
        height: parent.height - 4

        Repeater {
            model: root.model

            T.RadioButton {
                id: segment
                required property string modelData
                required property int index
                readonly property bool isCurrent: root.currentIndex === index

                width: Math.min(caption.implicitWidth + 24, (root.width - 4) / root.model.length + 40)
                height: row.height
                hoverEnabled: true
                focusPolicy: Qt.NoFocus
                Accessible.name: modelData
                autoExclusive: false
                checked: isCurrent
                onToggled: checked = Qt.binding(() => isCurrent)
                onClicked: {
                    root.forceActiveFocus(Qt.MouseFocusReason);
                    root.chosen(index);
                }

                contentItem: KText {
                    id: caption
                    text: segment.modelData
                    horizontalAlignment: Text.AlignHCenter
                    font.weight: segment.isCurrent ? Font.DemiBold : Font.Medium
                    color: !root.enabled ? Theme.textOff : segment.isCurrent || segment.hovered ? Theme.text : Theme.textSoft
                    Accessible.ignored: true
                }
                background: Rectangle {
                    radius: Theme.radiusSmall
                    color: segment.isCurrent ? (Theme.dark ? Theme.lineStrong : Theme.raised) : "transparent"
                    border.width: segment.isCurrent ? 1 : 0
                    border.color: Theme.lineStrong
                }
            }
        }
    }
}
