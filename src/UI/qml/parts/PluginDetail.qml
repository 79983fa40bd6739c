import QtQuick
import Keelhaven

/// One plugin: what it is, where it comes from and what it brings.
FocusScope {
    id: root

    property bool narrow: false
    /// On wide windows the text stands in the middle, and the header with it.
    readonly property int margin: Math.max(narrow ? Theme.xl : Theme.xxl, Math.floor((width - 720) / 2))
    readonly property var detail: Plugins.detail
    readonly property string shownKey: detail.key || ""

    objectName: "pluginDetail"
    onShownKeyChanged: page.contentY = 0
    Keys.onEscapePressed: Plugins.selected = ""

    KButton {
        id: back
        x: Theme.md
        y: 15
        visible: root.narrow
        kind: "quiet"
        iconName: "arrow-left"
        help: "Back to the plugins"
        onClicked: Plugins.selected = ""
    }
    KText {
        id: title
        x: root.narrow ? Math.max(56, root.margin) : root.margin
        y: 18
        width: Math.min(implicitWidth, parent.width - x - chip.width - Theme.md - Theme.xl)
        text: root.detail.title || "Unnamed"
        font.pixelSize: Theme.heading
        font.weight: Font.DemiBold
        Accessible.role: Accessible.Heading
    }
    KChip {
        id: chip
        anchors.left: title.right
        anchors.leftMargin: Theme.md
        anchors.verticalCenter: title.verticalCenter
        text: root.detail.state || ""
        tone: root.detail.tone || ""
    }
    KLine {
        y: 63
        width: parent.width
    }
    KPage {
        id: page
        y: 64
        width: parent.width
        height: parent.height - y
        focus: true
        label: "Plugin"
        contentHeight: body.implicitHeight + body.y + Theme.xl

        Column {
            id: body
            x: root.margin
            y: Theme.xl
            width: page.width - 2 * x
            spacing: Theme.xl

            KCallout {
                objectName: "pluginWarning"
                width: parent.width
                visible: text !== ""
                tone: "warn"
                text: root.detail.warning || ""
            }
            KParagraph {
                width: parent.width
                visible: text !== ""
                text: root.detail.description || ""
                font.pixelSize: Theme.prose
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
            }
            Facts {
                width: parent.width
                rows: root.detail.facts || []
            }
            Repeater {
                model: root.detail.groups || []

                Column {
                    id: group
                    required property var modelData

                    width: body.width
                    spacing: 10

                    KLabel { text: group.modelData.title }
                    Repeater {
                        model: group.modelData.entries

                        Item {
                            id: entry
                            required property var modelData

                            width: group.width
                            implicitHeight: name.height + (words.visible ? words.implicitHeight + 2 : 0)
                            Accessible.role: Accessible.StaticText
                            Accessible.name: modelData.description !== "" ? modelData.name + ": " + modelData.description : modelData.name

                            KText {
                                id: name
                                width: parent.width
                                text: entry.modelData.name
                                font.family: Theme.mono
                                font.pixelSize: Theme.small
                                font.weight: Font.DemiBold
                                Accessible.ignored: true
                            }
                            KParagraph {
                                id: words
                                y: name.height + 2
                                width: parent.width
                                visible: text !== ""
                                text: entry.modelData.description
                                color: Theme.textSoft
                                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                                maximumLineCount: 3
                                elide: Text.ElideRight
                                Accessible.ignored: true
                            }
                        }
                    }
                    KText {
                        visible: text !== ""
                        text: group.modelData.more
                        font.pixelSize: Theme.small
                        color: Theme.textFaint
                    }
                }
            }
            KParagraph {
                width: parent.width
                visible: root.detail.isRead === true && root.detail.groups.length === 0
                text: "It brings no commands, agents, skills or MCP servers that Keelhaven can see."
                color: Theme.textFaint
            }
        }
    }
}
