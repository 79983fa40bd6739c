import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Every shortcut of the window.
KSheet {
    id: root

    title: "Keyboard shortcuts"
    width: parent ? Math.min(520, parent.width - 48) : 520
    height: parent ? Math.min(600, parent.height - 48) : 600

    ListView {
        anchors.fill: parent
        anchors.margins: Theme.xl
        clip: true
        focus: true
        boundsBehavior: Flickable.StopAtBounds
        currentIndex: -1
        T.ScrollBar.vertical: KScrollBar {}
        Keys.onUpPressed: contentY = Math.max(0, contentY - 32)
        Keys.onDownPressed: contentY = Math.max(0, Math.min(contentHeight - height, contentY + 32))
        Accessible.role: Accessible.List
        Accessible.name: root.title
        model: [
            { keys: "Ctrl+1 … Ctrl+4", text: "Board, Projects, Agents, Plugins" },
            { keys: "Ctrl+N", text: "New agent" },
            { keys: "Ctrl+S", text: "Save the agent" },
            { keys: "Ctrl+F", text: "Find in history, or a plugin" },
            { keys: "Alt+1 … Alt+4", text: "Agents, Scheduled, Queue, History" },
            { keys: "↑ ↓", text: "Move in a list" },
            { keys: "Return", text: "Open the line" },
            { keys: "Menu, Shift+F10", text: "What can be done with the line" },
            { keys: "E, R, Delete", text: "On an agent: switch on or off, run now, delete" },
            { keys: "H, Delete", text: "On a run of the history: hide, delete" },
            { keys: "Tab", text: "Go on to the next control" },
            { keys: "Esc", text: "Close, or back to the agent editor" },
            { keys: "Ctrl+,", text: "Settings" },
            { keys: "?", text: "This list" },
            { keys: "Ctrl+Q", text: "Quit" }
        ]
        delegate: Item {
            required property var modelData

            width: ListView.view.width
            height: 32
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData.keys + ": " + modelData.text

            KText {
                width: 150
                height: parent.height
                text: modelData.keys
                font.weight: Font.Medium
                Accessible.ignored: true
            }
            KText {
                x: 160
                width: parent.width - x
                height: parent.height
                text: modelData.text
                color: Theme.textSoft
                Accessible.ignored: true
            }
        }
    }
}
