import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The days of a month to pick one from. The arrow keys move, Page Up and Page Down change the month.
T.Popup {
    id: control

    property int offset: 0
    property int current: 0
    property var month: ({ title: "", cells: [] })

    signal picked(string day)

    function show() {
        turn(-offset);
        for (let i = 0; i < month.cells.length; ++i) {
            if (month.cells[i].isChosen)
                current = i;
        }
        open();
        grid.forceActiveFocus(Qt.PopupFocusReason);
    }
    function turn(by) {
        offset += by;
        month = App.agentEditor.month(offset);
    }
    function move(by) {
        const next = current + by;
        if (next >= 0 && next < month.cells.length) {
            current = next;
            return;
        }
        turn(by < 0 ? -1 : 1);
        current = by < 0 ? 27 : 7;
    }
    function pick(index) {
        picked(month.cells[index].day);
        close();
    }

    width: 252
    height: implicitContentHeight + topPadding + bottomPadding
    padding: 10
    focus: true
    margins: 8
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent

    contentItem: Column {
        spacing: 6

        Item {
            width: parent.width
            height: Theme.controlSmall

            KText {
                x: 8
                height: parent.height
                text: control.month.title
                font.weight: Font.DemiBold
            }
            Row {
                anchors.right: parent.right

                KButton {
                    compact: true
                    kind: "quiet"
                    iconName: "chevron-left"
                    help: "Month before"
                    onClicked: control.turn(-1)
                }
                KButton {
                    compact: true
                    kind: "quiet"
                    iconName: "chevron-right"
                    help: "Month after"
                    onClicked: control.turn(1)
                }
            }
        }
        Row {
            Repeater {
                model: ["Mo", "Tu", "We", "Th", "Fr", "Sa", "Su"]

                KText {
                    required property string modelData
                    width: 33
                    text: modelData
                    horizontalAlignment: Text.AlignHCenter
                    font.pixelSize: Theme.caption
                    color: Theme.textFaint
                    Accessible.ignored: true
                }
            }
        }
        Grid {
            id: grid
            columns: 7
            focus: true
            Accessible.role: Accessible.Table
            Accessible.name: control.month.title
            Keys.onPressed: event => {
                switch (event.key) {
                case Qt.Key_Left: control.move(-1); break;
                case Qt.Key_Right: control.move(1); break;
                case Qt.Key_Up: control.move(-7); break;
                case Qt.Key_Down: control.move(7); break;
                case Qt.Key_PageUp: control.turn(-1); break;
                case Qt.Key_PageDown: control.turn(1); break;
                case Qt.Key_Return:
                case Qt.Key_Enter:
                case Qt.Key_Space: control.pick(control.current); break;
                default: return;
                }
                event.accepted = true;
            }

            Repeater {
                model: control.month.cells

                // No button template: it would keep its own role.
                Item {
                    id: cell
                    required property var modelData
                    required property int index

                    width: 33
                    height: 30
                    Accessible.role: Accessible.Cell
                    Accessible.name: modelData.day
                    Accessible.selectable: true
                    Accessible.selected: modelData.isChosen
                    Accessible.onPressAction: control.pick(index)

                    HoverHandler { id: hover }
                    TapHandler { onTapped: control.pick(cell.index) }

                    Rectangle {
                        anchors.fill: parent
                        radius: Theme.radiusSmall
                        color: cell.modelData.isChosen ? Theme.accent : hover.hovered ? Theme.hover : "transparent"
                        KFocus { shown: grid.activeFocus && control.current === cell.index; gap: 0 }
                    }
                    KText {
                        anchors.fill: parent
                        text: cell.modelData.text
                        horizontalAlignment: Text.AlignHCenter
                        font.weight: cell.modelData.isToday || cell.modelData.isChosen ? Font.DemiBold : Font.Normal
                        color: cell.modelData.isChosen ? Theme.accentInk
                            : cell.modelData.isPast ? Theme.textOff
                            : cell.modelData.isOther ? Theme.textFaint
                            : cell.modelData.isToday ? Theme.accent : Theme.text
                        Accessible.ignored: true
                    }
                }
            }
        }
    }
    background: Rectangle {
        radius: Theme.radius + 2
        color: Theme.raised
        border.color: Theme.lineStrong
    }
}
