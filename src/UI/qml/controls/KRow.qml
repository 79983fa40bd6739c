import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A row of a list. `selected` marks the one whose details are shown; children are laid over its content area.
T.ItemDelegate {
    id: control

    property bool selected: false
    property bool separated: true
    /// A row that waits for reuse is not drawn, and must not be told of either.
    property bool isPooled: false
    default property alias content: holder.data

    implicitHeight: Theme.row
    leftPadding: Theme.lg
    rightPadding: Theme.lg
    hoverEnabled: true
    focusPolicy: Qt.NoFocus
    Accessible.role: Accessible.ListItem
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.ignored: isPooled
    ListView.onPooled: isPooled = true
    ListView.onReused: isPooled = false

    contentItem: Item { id: holder }
    background: Item {
        Rectangle {
            anchors.fill: parent
            anchors.leftMargin: 8
            anchors.rightMargin: 8
            anchors.topMargin: 1
            anchors.bottomMargin: 1
            radius: Theme.radius
            color: control.selected ? Theme.selected : control.down ? Theme.pressed : control.hovered ? Theme.hover : "transparent"

            KFocus {
                shown: control.ListView.isCurrentItem && control.ListView.view !== null && control.ListView.view.activeFocus && control.ListView.view.showsFocus
                gap: 0
            }
        }
        Rectangle {
            anchors.bottom: parent.bottom
            x: Theme.lg
            width: parent.width - 2 * Theme.lg
            height: 1
            color: Theme.line
            visible: control.separated && !control.selected && !control.hovered
            opacity: 0.7
        }
    }
}
