import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The next days, a card each.
FocusScope {
    id: root

    readonly property var view: App.scheduler
    /// The firing of the current day that the keyboard is on; -1 is the day itself.
    property int entry: -1

    /// Up and down go from firing to firing, and stand on a day where there is none.
    function step(by) {
        const count = () => list.currentItem ? list.currentItem.entries.length : 0;
        const next = entry + by;
        if (next >= 0 && next < count()) {
            entry = next;
        } else {
            const day = list.currentIndex + by;
            if (day < 0 || day >= list.count)
                return;
            list.currentIndex = day;
            entry = by < 0 || count() === 0 ? count() - 1 : 0;
        }
        list.showsFocus = true;
        const row = list.currentItem.entryAt(entry) || list.currentItem;
        row.forceActiveFocus(Qt.TabFocusReason);
        list.reveal(row);
    }

    KList {
        id: list
        objectName: "agendaList"
        anchors.fill: parent
        topMargin: Theme.lg
        bottomMargin: Theme.lg
        spacing: Theme.md
        focus: true
        reuseItems: false
        label: "Next 10 days"
        model: root.view.agendaIsEmpty ? null : root.view.agenda
        onCurrentIndexChanged: root.entry = -1
        Keys.onUpPressed: root.step(-1)
        Keys.onDownPressed: root.step(1)

        /// A day may be taller than the list.
        function reveal(item) {
            const top = item.mapToItem(contentItem, 0, 0).y;
            if (top - 48 < contentY)
                contentY = Math.max(originY, top - 48);
            else if (top + item.height + 24 > contentY + height)
                contentY = top + item.height + 24 - height;
        }

        header: Item {
            width: list.width
            height: 34

            KText {
                x: Theme.xl
                text: "Next 10 days"
                font.weight: Font.DemiBold
                Accessible.role: Accessible.Heading
            }
            KText {
                anchors.right: parent.right
                anchors.rightMargin: Theme.xl
                text: root.view.agendaCaption
                font.pixelSize: Theme.small
                color: Theme.textFaint
            }
        }
        delegate: Item {
            id: day
            required property int index
            required property string title
            required property var entries

            width: ListView.view.width
            implicitHeight: card.height
            Accessible.role: Accessible.ListItem
            Accessible.name: title + (entries.length === 0 ? ", nothing" : "")

            function entryAt(index) {
                return index < 0 ? null : firings.itemAt(index);
            }

            Rectangle {
                id: card
                x: Theme.lg
                width: parent.width - 2 * Theme.lg
                height: day.entries.length > 0 ? 38 + day.entries.length * 30 + 6 : 38
                radius: Theme.radius + 2
                color: day.entries.length > 0 ? Theme.raised : "transparent"
                border.width: 1
                border.color: list.activeFocus && list.showsFocus && day.ListView.isCurrentItem && root.entry < 0 ? Theme.focus : Theme.line

                KText {
                    x: 14
                    height: 38
                    text: day.title
                    font.pixelSize: Theme.small
                    font.weight: Font.DemiBold
                    color: day.entries.length > 0 ? Theme.text : Theme.textFaint
                    Accessible.ignored: true
                }
                KText {
                    anchors.right: parent.right
                    anchors.rightMargin: 14
                    height: 38
                    text: day.entries.length > 0 ? day.entries.length : "—"
                    font.pixelSize: Theme.small
                    color: Theme.textFaint
                    Accessible.ignored: true
                }
                Column {
                    y: 36
                    width: parent.width

                    Repeater {
                        id: firings
                        model: day.entries

                        T.AbstractButton {
                            id: entry
                            required property var modelData

                            x: 6
                            width: card.width - 12
                            height: 30
                            hoverEnabled: true
                            focusPolicy: Qt.NoFocus
                            Accessible.name: modelData.time + ", " + modelData.name
                            Keys.onReturnPressed: clicked()
                            onClicked: root.view.selectSlot(modelData.slotID)

                            background: Rectangle {
                                radius: Theme.radiusSmall
                                color: root.view.selectedSlotID === entry.modelData.slotID ? Theme.selected : entry.hovered ? Theme.hover : "transparent"
                                KFocus { shown: entry.visualFocus; gap: 0 }
                            }
                            contentItem: Item {
                                KText {
                                    x: 8
                                    width: 66
                                    height: parent.height
                                    text: entry.modelData.time
                                    color: Theme.textSoft
                                    font.pixelSize: Theme.small
                                    Accessible.ignored: true
                                }
                                KText {
                                    x: 80
                                    width: parent.width - x - (once.visible ? 56 : 10)
                                    height: parent.height
                                    text: entry.modelData.name
                                    Accessible.ignored: true
                                }
                                KChip {
                                    id: once
                                    anchors.right: parent.right
                                    anchors.rightMargin: 8
                                    anchors.verticalCenter: parent.verticalCenter
                                    visible: entry.modelData.isOneShot
                                    text: "once"
                                }
                            }
                        }
                    }
                }
            }
        }
    }
    KEmpty {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: App.isReady && root.view.agendaIsEmpty
        iconName: "calendar"
        text: root.view.emptyText(1)
    }
}
