import QtQuick
import Keelhaven

/// What runs and what waits for its turn.
FocusScope {
    id: root

    readonly property var view: App.scheduler

    Timer {
        interval: 1000
        repeat: true
        running: root.visible && root.Window.visibility !== Window.Hidden && root.Window.visibility !== Window.Minimized && root.view.liveCount > 0
        onTriggered: root.view.refreshElapsed()
    }
    KEmpty {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: App.isReady && list.count === 0
        iconName: "inbox"
        text: root.view.emptyText(2)
    }
    KList {
        id: list
        objectName: "queueList"
        anchors.fill: parent
        topMargin: 6
        bottomMargin: 12
        focus: true
        label: "Queue"
        model: root.view.queue
        onOpened: index => { const row = itemAtIndex(index); if (row) row.open(); }
        onMenuWanted: index => { const row = itemAtIndex(index); if (row) row.showMenu(); }

        delegate: KRow {
            id: row
            required property int index
            required property string runID
            required property string title
            required property string subtitle
            required property string runState
            required property string stateHelp
            required property bool isLive
            required property bool isBlocked
            required property string elapsed

            width: ListView.view.width
            implicitHeight: stateHelp !== "" ? 76 : 60
            selected: root.view.selectedRunID === runID
            Accessible.name: [title, runState, stateHelp, subtitle].filter(text => text !== "").join(", ")
            onClicked: open()

            function open() {
                list.currentIndex = index;
                list.showsFocus = false;
                if (isLive)
                    root.view.selectRun(runID);
            }

            function showMenu() {
                menu.runID = runID;
                menu.isLive = isLive;
                menu.popup(row, row.width - 220, row.height - 6);
            }

            KIcon {
                x: 8
                y: 12
                name: row.isBlocked ? "question" : row.isLive ? "working" : row.stateHelp !== "" ? "pause" : "clock"
                color: row.isBlocked ? Theme.warn : row.isLive ? Theme.accent : Theme.textFaint
            }
            KText {
                x: 34
                y: 11
                width: parent.width - x - 130
                text: row.title !== "" ? row.title : "Unnamed"
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            KText {
                x: 34
                y: 32
                width: parent.width - x - 100
                text: row.subtitle
                font.pixelSize: Theme.small
                color: Theme.textFaint
                Accessible.ignored: true
            }
            KText {
                x: 34
                y: 50
                width: parent.width - x
                visible: row.stateHelp !== ""
                text: row.stateHelp
                font.pixelSize: Theme.small
                color: Theme.warn
                Accessible.ignored: true
            }
            KText {
                anchors.right: parent.right
                anchors.rightMargin: row.hovered ? 34 : 4
                y: 11
                width: Math.min(implicitWidth, 150)
                horizontalAlignment: Text.AlignRight
                text: row.runState
                font.pixelSize: Theme.small
                color: row.isBlocked ? Theme.warn : row.isLive ? Theme.accent : Theme.textSoft
                Accessible.ignored: true
            }
            KText {
                anchors.right: parent.right
                anchors.rightMargin: row.hovered ? 34 : 4
                y: 32
                text: row.elapsed
                font.pixelSize: Theme.small
                color: Theme.textFaint
                Accessible.ignored: true
            }
            KButton {
                anchors.right: parent.right
                y: 16
                kind: "quiet"
                compact: true
                focusPolicy: Qt.NoFocus
                visible: row.hovered
                iconName: row.isLive ? "stop" : "cross"
                help: row.isLive ? "Stop this run — closes its Herdr pane and records it as cancelled" : "Take out of the queue"
                onClicked: row.isLive ? stop.askFor(row.runID, row.title) : root.view.dequeue(row.runID)
            }
            TapHandler {
                acceptedButtons: Qt.RightButton
                onTapped: row.showMenu()
            }
        }
    }
    KMenu {
        id: menu
        property string runID
        property bool isLive

        KMenuItem {
            text: "Open in Herdr ↗"
            iconName: "terminal"
            enabled: menu.isLive
            onTriggered: { root.view.selectRun(menu.runID); App.runDetail.openInHerdr(); }
        }
        KMenuItem {
            text: "Take over"
            iconName: "hand"
            enabled: menu.isLive
            onTriggered: { root.view.selectRun(menu.runID); App.runDetail.takeOver(); }
        }
        KMenuLine {}
        KMenuItem {
            text: menu.isLive ? "Stop this run…" : "Take out of the queue"
            iconName: menu.isLive ? "stop" : "cross"
            danger: true
            onTriggered: menu.isLive ? stop.askFor(menu.runID, "") : root.view.dequeue(menu.runID)
        }
    }
    StopDialog { id: stop }
}
