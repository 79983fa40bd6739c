import QtQuick
import Keelhaven

/// The agents with their switches.
FocusScope {
    id: root

    readonly property var view: App.scheduler

    KEmpty {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: App.isReady && list.count === 0
        iconName: "agents"
        text: root.view.emptyText(0)
    }
    KList {
        id: list
        objectName: "agentList"
        anchors.fill: parent
        topMargin: 6
        bottomMargin: 12
        focus: true
        label: "Agents"
        model: root.view.agents
        onOpened: index => { const row = itemAtIndex(index); if (row) row.open(); }
        onMenuWanted: index => { const row = itemAtIndex(index); if (row) row.showMenu(); }

        delegate: KRow {
            id: row
            required property int index
            required property string slotID
            required property string name
            required property string provider
            required property string schedule
            required property string nextRun
            required property bool isEnabled
            required property bool canToggle
            required property string toggleHelp
            required property bool isLive

            width: ListView.view.width
            implicitHeight: 60
            rightPadding: Theme.lg
            selected: root.view.selectedSlotID === slotID
            Accessible.name: [name !== "" ? name : "Unnamed", canToggle ? "" : provider, schedule, nextRun, isLive ? "running" : ""].filter(text => text !== "").join(", ")
            onClicked: open()

            function open() {
                list.currentIndex = index;
                list.showsFocus = false;
                root.view.selectSlot(slotID);
            }

            function showMenu() {
                menu.slotID = slotID;
                menu.agentIndex = index;
                menu.popup(row, row.width - 220, row.height - 6);
            }

            KText {
                id: title
                x: 8
                y: 11
                width: Math.min(implicitWidth, parent.width - x - (codex.visible ? codex.width + 8 : 0) - (row.isLive ? 16 : 0) - next.width - next.anchors.rightMargin - 16)
                text: row.name !== "" ? row.name : "Unnamed"
                font.weight: Font.DemiBold
                color: row.isEnabled || !row.canToggle ? Theme.text : Theme.textSoft
                Accessible.ignored: true
            }
            KChip {
                id: codex
                x: title.x + title.width + 8
                y: 11
                visible: !row.canToggle
                text: row.provider
                Accessible.ignored: true
            }
            KText {
                x: 8
                y: 32
                width: parent.width - x - 60
                text: row.schedule
                // The time stands last.
                elide: Text.ElideMiddle
                font.pixelSize: Theme.small
                color: Theme.textFaint
                Accessible.ignored: true
            }
            Rectangle {
                x: (codex.visible ? codex.x + codex.width : title.x + title.width) + 8
                y: 17
                width: 7
                height: 7
                radius: 4
                color: Theme.accent
                visible: row.isLive
            }
            KText {
                id: next
                anchors.right: parent.right
                anchors.rightMargin: more.visible ? 78 : 50
                y: 11
                text: row.nextRun
                font.pixelSize: Theme.small
                color: row.isEnabled ? Theme.textSoft : Theme.textFaint
                Accessible.ignored: true
            }
            KButton {
                id: more
                anchors.right: parent.right
                anchors.rightMargin: 44
                anchors.verticalCenter: parent.verticalCenter
                kind: "quiet"
                compact: true
                iconName: "more"
                help: "More"
                focusPolicy: Qt.NoFocus
                visible: row.hovered || menu.opened && menu.slotID === row.slotID
                onClicked: row.showMenu()
            }
            KSwitch {
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                label: "Run " + row.name + " on its schedule"
                help: row.toggleHelp
                enabled: row.canToggle
                checked: row.isEnabled
                focusPolicy: Qt.NoFocus
                onToggled: {
                    root.view.toggle(row.slotID);
                    checked = Qt.binding(() => row.isEnabled);
                }
            }
            TapHandler {
                acceptedButtons: Qt.RightButton
                onTapped: row.showMenu()
            }
        }
    }
    Keys.onPressed: event => {
        const row = list.itemAtIndex(list.currentIndex);
        if (!row)
            return;
        if (event.key === Qt.Key_E && row.canToggle)
            root.view.toggle(row.slotID);
        else if (event.key === Qt.Key_R)
            root.view.runNow(row.slotID);
        else if (event.key === Qt.Key_Delete)
            remove.askFor(row.slotID);
        else
            return;
        event.accepted = true;
    }

    KMenu {
        id: menu
        property string slotID
        property int agentIndex

        KMenuItem { text: "Run now"; iconName: "play"; onTriggered: root.view.runNow(menu.slotID) }
        KMenuItem { text: "Edit"; iconName: "edit"; onTriggered: root.view.selectSlot(menu.slotID) }
        KMenuItem { text: "Duplicate"; iconName: "copy"; onTriggered: root.view.duplicate(menu.slotID) }
        KMenuLine {}
        KMenuItem { text: "Delete…"; iconName: "trash"; danger: true; onTriggered: remove.askFor(menu.slotID) }
    }
    KDialog {
        id: remove
        property string slotID

        function askFor(id) {
            const question = root.view.deleteQuestion(id);
            slotID = id;
            title = question.title;
            text = question.text;
            confirmText = question.button;
            ask();
        }
        onConfirmed: root.view.deleteSlot(slotID)
    }
}
