import QtQuick
import Keelhaven

/// What has run, newest first, under the days it ran on.
FocusScope {
    id: root
    objectName: "historyPane"

    readonly property var view: App.scheduler

    function askToClear() {
        const question = root.view.clearHistoryQuestion();
        clear.title = question.title;
        clear.text = question.text;
        clear.confirmText = question.button;
        clear.ask();
    }
    function find() {
        field.forceActiveFocus(Qt.ShortcutFocusReason);
        field.selectAll();
    }

    Row {
        id: tools
        x: Theme.lg
        y: 10
        width: parent.width - 2 * Theme.lg
        height: Theme.control
        spacing: 6
        visible: root.view.runCount > 0

        KField {
            id: field
            objectName: "historySearch"
            width: parent.width - failed.width - more.width - 12
            label: "Find in history"
            placeholder: "Find in history"
            iconName: "search"
            onTextChanged: root.view.searchText = text
            Keys.onEscapePressed: text = ""
            Keys.onDownPressed: list.forceActiveFocus(Qt.TabFocusReason)
        }
        KButton {
            id: failed
            text: "Failed"
            checkable: true
            checked: root.view.showsFailedOnly
            kind: checked ? "primary" : "plain"
            help: "Show failed runs only"
            onClicked: root.view.showsFailedOnly = checked
        }
        KButton {
            id: more
            kind: "quiet"
            iconName: "more"
            help: "More"
            onClicked: paneMenu.popup(more, 0, more.height + 4)
        }
    }
    Column {
        readonly property bool allHidden: root.view.runCount > 0 && field.text === "" && !root.view.showsFailedOnly

        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: App.isReady && list.count === 0
        spacing: Theme.lg

        KEmpty {
            width: parent.width
            iconName: "history"
            text: root.view.runCount === 0 ? root.view.emptyText(3) : parent.allHidden ? "All runs are hidden." : "No run matches."
        }
        KButton {
            anchors.horizontalCenter: parent.horizontalCenter
            visible: parent.allHidden
            text: "Show hidden runs"
            onClicked: root.view.showsHidden = true
        }
    }
    KList {
        id: list
        objectName: "historyList"
        y: tools.visible ? 52 : 6
        width: parent.width
        height: parent.height - y
        bottomMargin: 12
        focus: true
        label: "History"
        model: root.view.history
        onOpened: index => { const row = itemAtIndex(index); if (row) row.open(); }
        onMenuWanted: index => { const row = itemAtIndex(index); if (row) row.showMenu(); }

        section.property: "day"
        section.delegate: Item {
            required property string section

            width: ListView.view.width
            height: 30
            KLabel {
                x: Theme.xl
                anchors.bottom: parent.bottom
                anchors.bottomMargin: 6
                text: parent.section
                font.letterSpacing: 0
            }
        }
        delegate: KRow {
            id: row
            required property int index
            required property string itemID
            required property string runID
            required property string title
            required property string subtitle
            required property string message
            required property string picture
            required property string tone
            required property bool isTask
            required property bool isHidden

            width: ListView.view.width
            implicitHeight: message !== "" ? 76 : 58
            selected: root.view.selectedRunID === runID
            opacity: isHidden ? 0.6 : 1
            Accessible.description: message
            Accessible.name: (title !== "" ? title : "Unnamed") + ", " + ListView.section + ", " + subtitle + (isHidden ? ", hidden" : "")
            onClicked: open()

            function open() {
                list.currentIndex = index;
                list.showsFocus = false;
                root.view.selectRun(runID);
            }

            function showMenu() {
                menu.itemID = itemID;
                menu.isHidden = isHidden;
                menu.popup(row, row.width - 220, 44);
            }

            KIcon {
                x: 8
                y: 11
                name: row.picture === "check-circle" && row.isTask ? "task" : row.picture
                color: Theme.tone(row.tone)
            }
            KText {
                x: 34
                y: 10
                width: parent.width - x - (row.hovered ? 64 : 4)
                text: row.title !== "" ? row.title : "Unnamed"
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            KText {
                x: 34
                y: 30
                width: parent.width - x - (row.hovered ? 64 : 4)
                text: row.subtitle
                font.pixelSize: Theme.small
                color: row.tone === "bad" ? Theme.bad : Theme.textFaint
                Accessible.ignored: true
            }
            KText {
                x: 34
                y: 49
                width: parent.width - x - 4
                visible: row.message !== ""
                text: row.message
                font.pixelSize: Theme.small
                color: Theme.textSoft
                Accessible.ignored: true
            }
            Row {
                anchors.right: parent.right
                y: 10
                visible: row.hovered
                spacing: 2

                KButton {
                    kind: "quiet"
                    compact: true
                    focusPolicy: Qt.NoFocus
                    iconName: row.isHidden ? "eye" : "eye-off"
                    help: row.isHidden ? "Show again" : "Hide"
                    onClicked: root.view.setHidden(row.itemID, !row.isHidden)
                }
                KButton {
                    kind: "quiet"
                    compact: true
                    focusPolicy: Qt.NoFocus
                    iconName: "more"
                    help: "More"
                    onClicked: row.showMenu()
                }
            }
            TapHandler {
                acceptedButtons: Qt.RightButton
                onTapped: row.showMenu()
            }
        }
        Keys.onDeletePressed: {
            const row = itemAtIndex(currentIndex);
            if (row)
                remove.askFor(row.itemID);
        }
    }
    Keys.onPressed: event => {
        const row = list.itemAtIndex(list.currentIndex);
        if (event.key !== Qt.Key_H || !row || field.activeFocus)
            return;
        root.view.setHidden(row.itemID, !row.isHidden);
        event.accepted = true;
    }

    KMenu {
        id: menu
        property string itemID
        property bool isHidden

        KMenuItem {
            text: menu.isHidden ? "Show again" : "Hide"
            iconName: menu.isHidden ? "eye" : "eye-off"
            onTriggered: root.view.setHidden(menu.itemID, !menu.isHidden)
        }
        KMenuLine {}
        KMenuItem { text: "Delete…"; iconName: "trash"; danger: true; onTriggered: remove.askFor(menu.itemID) }
    }
    KMenu {
        id: paneMenu

        KMenuItem {
            text: root.view.showsHidden ? "Stop showing hidden runs" : "Show hidden runs"
            iconName: root.view.showsHidden ? "eye-off" : "eye"
            enabled: root.view.showsHidden || root.view.hiddenCount > 0
            onTriggered: root.view.showsHidden = !root.view.showsHidden
        }
        KMenuLine {}
        KMenuItem {
            text: "Clear history…"
            iconName: "trash"
            danger: true
            help: "Clear history — delete every finished run"
            onTriggered: root.askToClear()
        }
    }
    KDialog {
        id: remove
        property string itemID

        function askFor(id) {
            itemID = id;
            ask();
        }
        title: "Delete from history?"
        text: "Delete this run and its output from history"
        confirmText: "Delete"
        onConfirmed: root.view.remove(itemID)
    }
    KDialog {
        id: clear
        onConfirmed: root.view.clearHistory()
    }
}
