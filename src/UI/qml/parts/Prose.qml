import QtQuick
import Keelhaven

/// A report, laid out. `blocks` comes from ReportBlocks: in it everything an agent wrote is escaped already.
Column {
    id: root

    property var blocks: []
    property color ink: Theme.text
    property int size: Theme.prose

    spacing: 10

    function styled(markup) {
        return "<style>a{color:" + Theme.accent + ";text-decoration:none} code{font-family:'" + Theme.mono
            + "';font-size:" + Theme.small + "px} p{line-height:140%;margin:0}</style><p>" + markup + "</p>";
    }

    Repeater {
        model: root.blocks

        Loader {
            id: loader
            required property var modelData
            required property int index

            width: root.width
            sourceComponent: modelData.kind === "code" ? code : modelData.kind === "rule" ? rule : text

            Component {
                id: text
                Item {
                    readonly property bool isItem: loader.modelData.kind === "item"
                    readonly property bool isQuote: loader.modelData.kind === "quote"
                    readonly property bool isHeading: loader.modelData.kind === "heading"
                    readonly property int indent: isItem ? 20 + 18 * loader.modelData.level : isQuote ? 14 : 0

                    implicitHeight: body.implicitHeight + (isHeading && loader.index > 0 ? 8 : 0)

                    KText {
                        visible: parent.isItem
                        x: parent.indent - 20
                        width: 18
                        y: body.y + 1
                        text: loader.modelData.marker
                        color: Theme.textFaint
                        font.pixelSize: root.size
                        elide: Text.ElideNone
                        Accessible.ignored: true
                    }
                    Rectangle {
                        visible: parent.isQuote
                        width: 2
                        height: parent.height
                        radius: 1
                        color: Theme.lineStrong
                    }
                    Text {
                        id: body
                        x: parent.indent
                        y: parent.height - implicitHeight
                        width: parent.width - x
                        textFormat: Text.RichText
                        text: root.styled(loader.modelData.text)
                        wrapMode: Text.Wrap
                        color: parent.isQuote ? Theme.textSoft : root.ink
                        font.pixelSize: parent.isHeading ? (loader.modelData.level <= 1 ? 17 : Theme.title) : root.size
                        font.weight: parent.isHeading ? Font.DemiBold : Font.Normal
                        Accessible.role: parent.isHeading ? Accessible.Heading : Accessible.Paragraph
                        Accessible.name: loader.modelData.spoken
                        onLinkActivated: link => App.openLink(link)

                        HoverHandler {
                            cursorShape: body.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor
                        }
                        KTooltip {
                            text: body.hoveredLink
                            visible: body.hoveredLink !== ""
                        }
                    }
                }
            }
            Component {
                id: code
                Rectangle {
                    implicitHeight: codeText.implicitHeight + 20
                    radius: Theme.radius
                    color: Theme.sunken
                    border.width: 1
                    border.color: Theme.line

                    KParagraph {
                        id: codeText
                        x: 12
                        y: 10
                        width: parent.width - 24
                        text: loader.modelData.text
                        font.family: Theme.mono
                        font.pixelSize: Theme.small
                        wrapMode: Text.WrapAnywhere
                    }
                }
            }
            Component {
                id: rule
                Item {
                    implicitHeight: 9
                    KLine { y: 4; width: parent.width }
                }
            }
        }
    }
}
