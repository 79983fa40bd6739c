import QtQuick
import Keelhaven

/// The agents, what will fire, what runs and what has run; on the right what is selected.
FocusScope {
    objectName: "agentsPanel"

    id: root

    readonly property var view: App.scheduler
    readonly property bool narrow: width < 760
    /// Where there is room for one half only: whether the editor was asked for with nothing selected.
    readonly property bool opensEditor: App.agentEditor.isWanted
    readonly property bool showsDetail: view.selectedRunID !== "" || view.selectedSlotID !== "" || opensEditor
    property alias tab: tabs.currentIndex

    onVisibleChanged: view.setWatched(visible)
    Component.onCompleted: view.setWatched(visible)

    function startNew() {
        view.newAgent();
    }
    onShowsDetailChanged: if (!showsDetail) left.forceActiveFocus(Qt.OtherFocusReason)
    function showTab(index) {
        tabs.currentIndex = index;
        if (left.visible)
            lists.forceActiveFocus(Qt.ShortcutFocusReason);
    }

    FocusScope {
        id: left
        width: root.narrow ? root.width : Math.max(380, Math.min(560, root.width * 0.4))
        height: parent.height
        visible: !root.narrow || !root.showsDetail
        focus: true

        KText {
            x: Theme.xl
            y: 18
            text: "Agents"
            font.pixelSize: Theme.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KButton {
            anchors.right: create.left
            anchors.rightMargin: Theme.xs
            y: 15
            kind: "quiet"
            iconName: "gear"
            help: "Usage gating defaults"
            onClicked: root.view.showUsageGating()
        }
        KButton {
            id: create
            anchors.right: parent.right
            anchors.rightMargin: Theme.lg
            y: 15
            text: "New agent"
            iconName: "plus"
            help: "Set up a new agent"
            onClicked: root.startNew()
        }
        KTabBar {
            id: tabs
            objectName: "tabs"
            x: Theme.xl
            y: 56
            width: parent.width - 2 * Theme.xl
            label: "Lists"
            model: root.view.tabs
            onChosen: index => currentIndex = index
        }
        KLine {
            y: tabs.y + tabs.height
            width: parent.width
        }
        FocusScope {
            id: lists
            y: tabs.y + tabs.height + 1
            width: parent.width
            height: parent.height - y
            focus: true

            AgentList { anchors.fill: parent; visible: tabs.currentIndex === 0; focus: visible; enabled: visible }
            AgendaList { anchors.fill: parent; visible: tabs.currentIndex === 1; focus: visible; enabled: visible }
            QueueList { anchors.fill: parent; visible: tabs.currentIndex === 2; focus: visible; enabled: visible }
            HistoryPane { id: history; anchors.fill: parent; visible: tabs.currentIndex === 3; focus: visible; enabled: visible }
        }
    }
    KLine {
        id: split
        x: left.width
        vertical: true
        height: parent.height
        visible: !root.narrow
    }
    FocusScope {
        id: right
        x: root.narrow ? 0 : split.x + 1
        width: parent.width - x
        height: parent.height
        visible: !root.narrow || root.showsDetail

        Rectangle {
            anchors.fill: parent
            color: Theme.raised
        }
        RunDetailPane {
            anchors.fill: parent
            visible: root.view.selectedRunID !== ""
            focus: visible
        }
        ScreenSlot {
            id: editor
            anchors.fill: parent
            visible: root.view.selectedRunID === ""
            focus: visible
            name: "AgentEditor"
            iconName: "agents"
            sentence: App.runDetail.nothingText
        }
    }

    Binding {
        target: editor.item
        when: editor.item !== null
        property: "showsBack"
        value: root.narrow
    }

    Shortcut { sequence: "Alt+1"; enabled: root.visible; onActivated: root.showTab(0) }
    Shortcut { sequence: "Alt+2"; enabled: root.visible; onActivated: root.showTab(1) }
    Shortcut { sequence: "Alt+3"; enabled: root.visible; onActivated: root.showTab(2) }
    Shortcut { sequence: "Alt+4"; enabled: root.visible; onActivated: root.showTab(3) }
    Shortcut {
        sequence: "Ctrl+F"
        enabled: root.visible
        onActivated: {
            root.showTab(3);
            history.find();
        }
    }
}
