import QtQuick
import Keelhaven

/// What needs the user, at a glance: runs, what comes next, the meters and the power switches. `done` asks
/// whoever shows it to close.
FocusScope {
    id: root

    property bool showsShortcuts: true

    signal done()

    objectName: "glancePanel"
    implicitWidth: 320
    implicitHeight: column.implicitHeight + 2 * Theme.md
    Accessible.role: Accessible.Pane
    Accessible.name: "Keelhaven at a glance"
    Keys.onEscapePressed: done()

    Watcher { view: Glance }

    component Entry: KRow {
        id: entry
        property string iconName
        property string label
        property color ink: Theme.text
        property color iconInk: Theme.textSoft

        x: 0
        width: column.width
        height: 32
        leftPadding: Theme.lg
        rightPadding: Theme.lg
        separated: false
        focusPolicy: Qt.StrongFocus
        Accessible.role: Accessible.Button
        Accessible.name: label
        Keys.onReturnPressed: clicked()

        KIcon {
            anchors.verticalCenter: parent.verticalCenter
            size: 14
            name: entry.iconName
            color: entry.iconInk
        }
        KText {
            x: 24
            width: parent.width - x
            height: parent.height
            text: entry.label
            color: entry.ink
            Accessible.ignored: true
        }
        KFocus {
            shown: entry.visualFocus
            anchors.leftMargin: -6
            anchors.rightMargin: -6
            gap: 0
        }
    }
    component Divider: Item {
        width: column.width
        height: 9
        KLine {
            x: Theme.lg
            y: 4
            width: parent.width - 2 * Theme.lg
        }
    }
    component Power: Item {
        id: power
        property alias label: toggle.label
        property alias help: toggle.help
        property alias checked: toggle.checked
        property string note

        signal changed(bool on)

        width: column.width
        height: note !== "" ? 46 : 34

        KText {
            x: Theme.lg
            y: 8
            width: parent.width - 2 * Theme.lg - 44
            text: toggle.label
            Accessible.ignored: true
        }
        KText {
            x: Theme.lg
            y: 26
            visible: text !== ""
            text: power.note
            font.pixelSize: Theme.caption
            color: Theme.accent
        }
        KSwitch {
            id: toggle
            anchors.right: parent.right
            anchors.rightMargin: Theme.lg
            y: 5
            onToggled: power.changed(checked)
        }
    }

    Column {
        id: column
        y: Theme.md
        width: parent.width

        Item {
            width: parent.width
            height: 30

            KIcon {
                x: Theme.lg
                y: 3
                name: "ship"
                size: 18
                color: Theme.accent
            }
            KText {
                x: Theme.lg + 26
                y: 2
                text: "Keelhaven"
                font.pixelSize: Theme.title
                font.weight: Font.DemiBold
                Accessible.role: Accessible.Heading
            }
            KText {
                anchors.right: parent.right
                anchors.rightMargin: Theme.lg
                y: 5
                text: Glance.status
                font.pixelSize: Theme.small
                color: Theme.textSoft
            }
        }
        Column {
            width: parent.width
            visible: Glance.projects !== ""
            spacing: 2
            bottomPadding: 6

            KLabel {
                x: Theme.lg
                text: "Projects"
            }
            KText {
                x: Theme.lg
                width: parent.width - 2 * Theme.lg
                text: Glance.projects
                color: Theme.textSoft
            }
        }
        Rectangle {
            x: Theme.md
            width: parent.width - 2 * x
            height: 38
            radius: Theme.radius
            visible: Glance.updateLine !== ""
            color: Theme.accentSoft

            KText {
                x: 10
                width: parent.width - x - load.width - 14
                height: parent.height
                text: Glance.updateLine
                font.pixelSize: Theme.small
            }
            KButton {
                id: load
                anchors.right: parent.right
                anchors.rightMargin: 6
                anchors.verticalCenter: parent.verticalCenter
                compact: true
                text: "Download"
                onClicked: Glance.download()
            }
        }
        Divider {}

        Repeater {
            model: Glance.fleet
            Entry {
                required property var modelData
                iconName: modelData.needsYou ? "hand" : "ship"
                iconInk: modelData.needsYou ? Theme.warn : Theme.accent
                label: modelData.text
                onClicked: {
                    Glance.showShip(modelData.shipID);
                    root.done();
                }
            }
        }
        Repeater {
            model: Glance.runs.length

            Entry {
                required property int index
                readonly property var run: Glance.runs[index] || { runID: "", text: "" }
                iconName: "working"
                iconInk: Theme.accent
                label: run.text
                onClicked: {
                    Glance.showRun(run.runID);
                    root.done();
                }
            }
        }
        Item {
            width: parent.width
            height: 28

            KIcon {
                x: Theme.lg
                anchors.verticalCenter: parent.verticalCenter
                size: 14
                name: "clock"
                color: Theme.textFaint
            }
            KText {
                x: Theme.lg + 24
                width: parent.width - x - Theme.lg
                height: parent.height
                text: Glance.nextFire
                color: Theme.textSoft
            }
        }
        Divider { visible: meters.visible }
        Column {
            id: meters
            x: Theme.lg
            width: parent.width - 2 * x
            visible: Glance.meters.length > 0
            spacing: 8
            topPadding: 4
            bottomPadding: 4

            Repeater {
                model: Glance.meters
                UsageMeter {
                    required property var modelData
                    width: meters.width
                    meter: modelData
                }
            }
        }
        Divider {}
        Power {
            objectName: "keepAwake"
            label: Glance.keepAwakeLabel
            help: Glance.keepAwakeHelp
            note: Glance.keepAwakeNote
            checked: Glance.keepAwake
            onChanged: on => Glance.keepAwake = on
        }
        Power {
            objectName: "preventLock"
            label: Glance.preventLockLabel
            help: Glance.preventLockHelp
            checked: Glance.preventLock
            onChanged: on => Glance.preventLock = on
        }
        Divider { visible: root.showsShortcuts }
        Column {
            width: parent.width
            visible: root.showsShortcuts

            Repeater {
                model: [
                    { panel: "", text: "Open Keelhaven", icon: "arrow-out" },
                    { panel: "keelhaven", text: "Board", icon: "inbox" },
                    { panel: "scheduler", text: "Agents", icon: "agents" },
                    { panel: "plugins", text: "Plugins", icon: "plug" }
                ]
                Entry {
                    required property var modelData
                    label: modelData.text
                    iconName: modelData.icon
                    onClicked: {
                        Glance.open(modelData.panel);
                        root.done();
                    }
                }
            }
            Divider {}
        }
        Entry {
            visible: Glance.serviceButton !== ""
            label: Glance.serviceButton
            iconName: "refresh"
            onClicked: Glance.useService()
        }
        Entry {
            visible: root.showsShortcuts
            label: "Quit"
            iconName: "cross"
            onClicked: App.quit()
        }
    }
}
