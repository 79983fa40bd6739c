import QtQuick
import Keelhaven

/// Claude Code's plugins on the left; on the right what the selected one brings.
FocusScope {
    id: root

    objectName: "pluginsPanel"

    readonly property bool narrow: width < 760
    readonly property bool showsDetail: Plugins.selected !== ""

    onShowsDetailChanged: if (!showsDetail) list.forceActiveFocus(Qt.OtherFocusReason)

    function find() {
        field.forceActiveFocus(Qt.ShortcutFocusReason);
        field.selectAll();
    }

    Watcher { view: Plugins }

    FocusScope {
        id: left
        width: root.narrow ? root.width : Math.max(380, Math.min(480, root.width * 0.4))
        height: parent.height
        visible: !root.narrow || !root.showsDetail
        focus: true

        KText {
            id: heading
            x: Theme.xl
            y: 18
            text: "Plugins"
            font.pixelSize: Theme.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KText {
            objectName: "pluginsSummary"
            anchors.left: heading.right
            anchors.leftMargin: Theme.md
            anchors.right: again.left
            anchors.rightMargin: Theme.sm
            anchors.baseline: heading.baseline
            text: Plugins.summary
            font.pixelSize: Theme.small
            color: Theme.textFaint
        }
        KButton {
            id: again
            anchors.right: parent.right
            anchors.rightMargin: Theme.lg
            y: 15
            kind: "quiet"
            iconName: "refresh"
            help: "Look again"
            onClicked: Plugins.refresh()
        }
        KLine {
            y: 63
            width: parent.width
        }
        OwnSessions {
            id: own
            x: Theme.xl
            y: 64 + Theme.lg
            width: parent.width - 2 * Theme.xl
        }
        KLine {
            id: ownLine
            y: own.y + own.implicitHeight + Theme.lg
            width: parent.width
        }
        KField {
            id: field
            objectName: "pluginSearch"
            x: Theme.lg
            y: ownLine.y + 11
            width: parent.width - 2 * Theme.lg
            label: "Find a plugin"
            placeholder: "Find a plugin, command or skill"
            iconName: "search"
            onTextChanged: Plugins.searchText = text
            Keys.onEscapePressed: text = ""
            Keys.onDownPressed: list.forceActiveFocus(Qt.TabFocusReason)
        }
        Column {
            id: notices
            x: Theme.lg
            y: field.y + field.height + (visible ? 10 : 0)
            width: parent.width - 2 * Theme.lg
            visible: Plugins.notices.length > 0
            height: visible ? implicitHeight : 0
            spacing: Theme.sm

            Repeater {
                model: Plugins.notices

                KCallout {
                    required property string modelData
                    width: notices.width
                    tone: "warn"
                    text: modelData
                }
            }
        }
        KEmpty {
            x: Theme.xl
            y: list.y + Math.max(Theme.xl, (list.height - height) / 2)
            width: parent.width - 2 * Theme.xl
            visible: list.count === 0
            iconName: Plugins.loading ? "hourglass" : "plug"
            text: Plugins.loading ? "Reading what is installed…"
                : field.text.trim() !== "" ? "No plugin matches."
                : root.nothingText
        }
        KList {
            id: list
            objectName: "pluginList"
            y: notices.y + notices.height + 4
            width: parent.width
            height: parent.height - y
            bottomMargin: 12
            focus: true
            label: "Plugins"
            model: Plugins.plugins
            onOpened: index => { const row = itemAtIndex(index); if (row) row.open(); }

            section.property: "group"
            section.delegate: Item {
                required property string section

                width: ListView.view.width
                height: 34
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
                required property string key
                required property string name
                required property string subtitle
                required property string pluginState
                required property string tone

                width: ListView.view.width
                implicitHeight: 58
                selected: Plugins.selected === key
                Accessible.name: [name, pluginState, subtitle].filter(text => text !== "").join(", ")
                onClicked: open()

                function open() {
                    list.currentIndex = index;
                    list.showsFocus = false;
                    Plugins.selected = key;
                }

                KText {
                    x: 8
                    y: 10
                    width: parent.width - x - chip.width - 16
                    text: row.name !== "" ? row.name : "Unnamed"
                    font.weight: Font.DemiBold
                    Accessible.ignored: true
                }
                KText {
                    x: 8
                    y: 31
                    width: parent.width - x - 8
                    text: row.subtitle
                    font.pixelSize: Theme.small
                    color: Theme.textFaint
                    Accessible.ignored: true
                }
                KChip {
                    id: chip
                    anchors.right: parent.right
                    anchors.rightMargin: 8
                    y: 10
                    text: row.pluginState
                    tone: row.tone
                    Accessible.ignored: true
                }
            }
            footer: Item {
                width: ListView.view.width
                height: visible ? 96 : 0
                visible: list.count > 0 && !Plugins.hasInstalled && !Plugins.loading && field.text.trim() === ""

                KParagraph {
                    x: Theme.xl
                    y: Theme.lg
                    width: parent.width - 2 * Theme.xl
                    text: root.nothingText
                    color: Theme.textFaint
                }
            }
        }
    }
    readonly property string nothingText: (list.count > 0 ? "Nothing else is" : "No plugins are")
        + " installed in Claude Code. What you add with “claude plugin install” shows here by itself."

    KLine {
        id: split
        x: left.width
        vertical: true
        height: parent.height
        visible: !root.narrow
    }
    FocusScope {
        x: root.narrow ? 0 : split.x + 1
        width: parent.width - x
        height: parent.height
        visible: !root.narrow || root.showsDetail

        Rectangle {
            anchors.fill: parent
            color: Theme.raised
        }
        KEmpty {
            anchors.centerIn: parent
            width: parent.width - 2 * Theme.xl
            visible: !root.showsDetail
            iconName: "plug"
            text: "Select a plugin to see what it brings to your sessions."
        }
        PluginDetail {
            anchors.fill: parent
            visible: root.showsDetail
            focus: visible
            narrow: root.narrow
        }
    }

    Shortcut { sequence: "Ctrl+F"; enabled: root.visible; onActivated: root.find() }
}
