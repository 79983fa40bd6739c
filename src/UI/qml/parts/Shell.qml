import QtQuick
import Keelhaven

/// All of the window's inside: navigation, what every panel must tell, and the panel that is open.
FocusScope {
    id: root

    readonly property bool compact: width < 1000
    readonly property FocusKeeper keeper: FocusKeeper { place: root }

    Rectangle {
        anchors.fill: parent
        color: Theme.surface
    }
    SideNav {
        id: nav
        width: implicitWidth
        height: parent.height
        compact: root.compact
        onHelpWanted: shortcuts.open()
    }
    KLine {
        id: edge
        x: nav.width
        vertical: true
        height: parent.height
    }
    Column {
        id: banners
        x: edge.x + 1
        width: parent.width - x

        Banner {
            width: parent.width
            visible: App.databaseError !== ""
            text: "Keelhaven's own database did not open, so it runs on a temporary one. Your agents and their history are kept in plain files."
            detail: App.databaseError
        }
        UpdateBanner { width: parent.width }
        Banner {
            width: parent.width
            visible: App.lastError !== ""
            tone: "bad"
            text: App.lastError
            dismissable: true
            onDismissed: App.dismissError()
        }
    }
    FocusScope {
        id: panels
        x: banners.x
        y: banners.height
        width: parent.width - x
        height: parent.height - y
        focus: true

        ScreenSlot {
            anchors.fill: parent
            visible: App.panel === "keelhaven"
            focus: visible
            name: "BoardPanel"
            iconName: "ship"
            sentence: "The board is not part of this version yet; your agents are on the Agents panel."
        }
        ScreenSlot {
            anchors.fill: parent
            visible: App.panel === "projects"
            focus: visible
            name: "ProjectsPanel"
            iconName: "folder"
            sentence: "Projects are not part of this version yet; they will show here."
        }
        ScreenSlot {
            id: agents
            anchors.fill: parent
            visible: App.panel === "scheduler"
            focus: visible
            name: "AgentsPanel"
        }
        ScreenSlot {
            anchors.fill: parent
            visible: App.panel === "plugins"
            focus: visible
            name: "PluginsPanel"
            iconName: "plug"
            sentence: "Plugins are not part of this version yet; they will show here."
        }
    }
    ShortcutSheet { id: shortcuts }
    KSheet {
        id: settings
        title: "Settings"
        visible: App.showsSettings
        onClosed: App.showsSettings = false

        ScreenSlot {
            anchors.fill: parent
            focus: true
            name: "SettingsSheet"
            iconName: "gear"
            sentence: "Settings are changed with “keelhaven settings” in a terminal, until this sheet is there."
        }
    }

    /// From what has the keyboard without being a stop of Tab, an empty list say, Tab would begin at the top.
    function goOn(forward) {
        const from = root.Window.activeFocusItem;
        const next = from ? from.nextItemInFocusChain(forward) : null;
        if (next)
            next.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason);
    }
    Keys.onTabPressed: goOn(true)
    Keys.onBacktabPressed: goOn(false)

    function showShortcuts() {
        shortcuts.open();
    }
    function showPanel(name) {
        App.panel = name;
        panels.forceActiveFocus(Qt.ShortcutFocusReason);
    }
    Shortcut { sequence: "Ctrl+1"; onActivated: root.showPanel("keelhaven") }
    Shortcut { sequence: "Ctrl+2"; onActivated: root.showPanel("projects") }
    Shortcut { sequence: "Ctrl+3"; onActivated: root.showPanel("scheduler") }
    Shortcut { sequence: "Ctrl+4"; onActivated: root.showPanel("plugins") }
    Shortcut { sequence: "Ctrl+N"; onActivated: { root.showPanel("scheduler"); agents.item.startNew(); } }
    Shortcut { sequence: "Ctrl+,"; onActivated: App.showsSettings = true }
    Shortcut { sequence: "Ctrl+Q"; onActivated: App.quit() }
    Shortcut { sequences: ["?", "F1"]; onActivated: shortcuts.open() }
}
