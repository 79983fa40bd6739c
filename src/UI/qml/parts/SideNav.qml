import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The panels of the window, and what belongs to all of them. Narrow windows get the pictures alone.
FocusScope {
    id: root

    property bool compact: false

    signal helpWanted()

    implicitWidth: compact ? 60 : 200
    Accessible.role: Accessible.ToolBar
    Accessible.name: "Panels"

    component Entry: T.AbstractButton {
        id: entry

        property string iconName
        property bool isCurrent: false
        property string badge
        property string badgeTone
        property string help
        /// What it opens stands beside it, where its own words would be.
        property bool isOpen: false

        width: root.width - 16
        x: 8
        implicitHeight: 34
        hoverEnabled: true
        focusPolicy: Qt.StrongFocus
        Accessible.role: Accessible.Button
        Accessible.name: badge !== "" ? text + ", " + badge : text
        Accessible.selected: isCurrent
        Keys.onReturnPressed: clicked()

        contentItem: Item {
            KIcon {
                id: icon
                x: root.compact ? (parent.width - width) / 2 : 10
                anchors.verticalCenter: parent.verticalCenter
                name: entry.iconName
                size: 17
                color: entry.isCurrent ? Theme.accent : Theme.textSoft
            }
            KText {
                x: 38
                width: parent.width - x - (chip.visible ? chip.width + 16 : 8)
                height: parent.height
                visible: !root.compact
                text: entry.text
                font.weight: entry.isCurrent ? Font.DemiBold : Font.Medium
                color: entry.isCurrent ? Theme.text : Theme.textSoft
                Accessible.ignored: true
            }
            KChip {
                id: chip
                anchors.right: parent.right
                anchors.rightMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                visible: !root.compact && text !== ""
                text: entry.badge
                tone: entry.badgeTone
                Accessible.ignored: true
            }
            Rectangle {
                visible: root.compact && entry.badge !== ""
                x: icon.x + icon.width - 2
                y: icon.y - 3
                width: 7
                height: 7
                radius: 4
                color: Theme.tone(entry.badgeTone)
            }
        }
        background: Rectangle {
            radius: Theme.radius
            color: entry.isCurrent ? Theme.selected : entry.down ? Theme.pressed : entry.hovered ? Theme.hover : "transparent"
            KFocus { shown: entry.visualFocus; gap: 0 }
        }
        KTooltip {
            text: entry.help !== "" ? entry.help : entry.text
            visible: entry.hovered && !entry.isOpen && (root.compact || entry.help !== "")
        }
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }

    Row {
        x: root.compact ? (root.width - 22) / 2 : 18
        y: 18
        height: 24
        spacing: 10

        KIcon {
            anchors.verticalCenter: parent.verticalCenter
            name: "ship"
            size: 22
            color: Theme.accent
        }
        KText {
            anchors.verticalCenter: parent.verticalCenter
            visible: !root.compact
            text: "Keelhaven"
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
        }
    }

    KButton {
        id: menuButton
        objectName: "appMenu"
        // Where there is no room beside it, the ship itself opens the menu.
        x: root.compact ? (parent.width - width) / 2 : parent.width - width - 12
        y: root.compact ? 12 : 17
        width: root.compact ? 36 : implicitWidth
        height: root.compact ? 36 : implicitHeight
        compact: true
        kind: "quiet"
        iconName: root.compact ? "" : "more"
        help: "Keelhaven"
        onClicked: appMenu.popup(menuButton, 0, height + 2)

        AppMenu {
            id: appMenu
            onAcknowledgementsWanted: {
                acknowledgements.active = true;
                acknowledgements.item.open();
            }
        }
        Loader {
            id: acknowledgements
            active: false
            sourceComponent: Acknowledgements {}
        }
    }

    Column {
        y: 64
        width: parent.width
        spacing: 2

        Repeater {
            model: [
                { panel: "keelhaven", text: "Board", icon: "inbox" },
                { panel: "projects", text: "Projects", icon: "folder" },
                { panel: "scheduler", text: "Agents", icon: "agents" },
                { panel: "plugins", text: "Plugins", icon: "plug" }
            ]

            Entry {
                required property var modelData
                required property int index

                text: modelData.text
                iconName: modelData.icon
                isCurrent: App.panel === modelData.panel
                badge: modelData.panel === "scheduler" && App.scheduler.liveCount > 0 ? App.scheduler.liveCount + " live" : ""
                badgeTone: "accent"
                help: "Ctrl+" + (index + 1)
                onClicked: App.panel = modelData.panel
            }
        }
    }

    Column {
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        width: parent.width
        spacing: 2

        UsageStrip {
            id: strip
            width: parent.width
            compact: root.compact
            visible: root.height > 560
            onMoreWanted: usage.show()
        }
        Entry {
            id: usageEntry
            objectName: "usageEntry"
            visible: !strip.visible
            text: "Usage"
            iconName: "hourglass"
            isOpen: usage.item !== null && usage.item.opened
            onClicked: usage.show()
        }
        Loader {
            id: usage
            active: false
            sourceComponent: UsagePopover {
                parent: root
                x: root.width - 4
                y: strip.parent.y + (strip.visible ? strip.y + strip.height : usageEntry.y + usageEntry.height) - height
            }

            function show() {
                active = true;
                item.open();
            }
        }
        Entry {
            id: glance
            objectName: "glanceButton"
            visible: !Glance.hasTray
            text: "Glance"
            iconName: "eye"
            help: "What runs, what comes next, and the power switches"
            isOpen: overview.item !== null && overview.item.opened
            onClicked: {
                overview.active = true;
                overview.item.open();
            }

            Loader {
                id: overview
                active: false
                sourceComponent: GlancePopover {
                    parent: glance
                    x: root.width - 4
                    y: glance.height - height
                }
            }
        }
        Entry {
            text: "Settings…"
            iconName: "gear"
            help: "Ctrl+,"
            onClicked: App.showsSettings = true
        }
        Entry {
            text: "Shortcuts"
            iconName: "keyboard"
            help: "?"
            onClicked: root.helpWanted()
        }
    }
}
