import QtQuick
import Keelhaven

/// What this machine needs before agents can run, each with what can be done about it.
Column {
    id: root

    property bool showsTitle: true
    property bool canSkip: !Setup.done

    objectName: "setupCard"
    spacing: Theme.lg

    Watcher { view: Setup }
    Chooser {
        id: folders
        onChosen: url => Setup.chooseFolder(url)
    }

    Column {
        width: parent.width
        visible: root.showsTitle
        spacing: 4

        KParagraph {
            width: parent.width
            text: Setup.title
            font.pixelSize: Theme.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KParagraph {
            width: parent.width
            text: Setup.subtitle
            color: Theme.textSoft
        }
    }
    KCard {
        width: parent.width
        padding: 0
        spacing: 0

        Repeater {
            model: Setup.rows

            Item {
                id: row
                required property var modelData
                required property int index
                readonly property bool wide: width > 460

                width: parent.width
                height: column.implicitHeight + 2 * Theme.lg
                Accessible.role: Accessible.ListItem
                Accessible.name: modelData.title + (modelData.passed ? ", done: " : ", to do: ") + modelData.detail

                KLine {
                    visible: row.index > 0
                    x: Theme.lg
                    width: parent.width - 2 * Theme.lg
                }
                KIcon {
                    x: Theme.lg
                    y: Theme.lg
                    size: 20
                    visible: row.modelData.passed
                    name: "check-circle"
                    color: Theme.good
                }
                Rectangle {
                    x: Theme.lg + 2
                    y: Theme.lg + 2
                    width: 16
                    height: 16
                    radius: 8
                    visible: !row.modelData.passed
                    color: "transparent"
                    border.width: 1.5
                    border.color: Theme.lineStrong
                }
                Column {
                    id: column
                    x: Theme.lg + 32
                    y: Theme.lg
                    width: parent.width - x - Theme.lg - (action.beside ? action.width + Theme.md : 0)
                    spacing: 4

                    KText {
                        width: parent.width
                        text: row.modelData.title
                        font.weight: Font.DemiBold
                        Accessible.ignored: true
                    }
                    KParagraph {
                        width: parent.width
                        visible: row.modelData.blocks.length === 0
                        text: row.modelData.detail
                        color: Theme.textSoft
                        wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                        maximumLineCount: 5
                        elide: Text.ElideRight
                        Accessible.ignored: true
                    }
                    Prose {
                        width: parent.width
                        visible: row.modelData.blocks.length > 0
                        blocks: row.modelData.blocks
                        ink: Theme.textSoft
                        size: Theme.body
                    }
                    Item {
                        width: parent.width
                        height: command.height + 6
                        visible: row.modelData.command !== ""

                        Rectangle {
                            id: command
                            property bool copied: false

                            y: 6
                            width: parent.width
                            height: Math.max(40, words.implicitHeight + 16)
                            radius: Theme.radius
                            color: Theme.sunken
                            border.width: 1
                            border.color: Theme.line

                            KParagraph {
                                id: words
                                anchors.verticalCenter: parent.verticalCenter
                                anchors.verticalCenterOffset: 2
                                x: 12
                                width: parent.width - x - copy.width - 16
                                text: row.modelData.command
                                font.family: Theme.mono
                                font.pixelSize: Theme.small
                                wrapMode: Text.WrapAnywhere
                            }
                            KButton {
                                id: copy
                                objectName: "copyCommand"
                                anchors.right: parent.right
                                anchors.rightMargin: 7
                                anchors.verticalCenter: parent.verticalCenter
                                compact: true
                                iconName: command.copied ? "check" : "copy"
                                text: command.copied ? "Copied" : "Copy"
                                onClicked: {
                                    Setup.copy(row.modelData.command);
                                    command.copied = true;
                                }
                            }
                        }
                    }
                    Item {
                        width: 1
                        height: action.height + 6
                        visible: action.visible && !action.beside
                    }
                }
                KButton {
                    id: action
                    readonly property bool beside: visible && row.wide && row.modelData.command === ""

                    objectName: "setupAction" + row.index
                    x: beside ? row.width - width - Theme.lg : column.x
                    y: beside ? (row.height - height) / 2 : column.y + column.implicitHeight - height
                    visible: row.modelData.actionTitle !== ""
                    text: row.modelData.actionTitle
                    kind: row.modelData.passed ? "quiet" : "plain"
                    onClicked: row.modelData.action === "chooseFolder" ? folders.open() : Setup.perform(row.index)
                }
            }
        }
    }
    KParagraph {
        objectName: "setupNote"
        width: parent.width
        visible: text !== ""
        text: Setup.note
        color: Theme.textSoft
    }
    Row {
        spacing: Theme.sm

        KButton {
            objectName: "setupCheck"
            text: Setup.checkText
            iconName: "refresh"
            enabled: !Setup.checking
            onClicked: Setup.check()
        }
        KButton {
            objectName: "setupSkip"
            visible: root.canSkip
            kind: "quiet"
            text: Setup.skipText
            onClicked: Setup.skip()
        }
    }
}
