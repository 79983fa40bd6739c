import QtQuick
import Keelhaven

/// One usage meter: `meter` has "label", "percent", "text", "caption", "help", "ahead" and "extra".
Item {
    id: root

    property var meter
    property bool bare: false ///< the bar alone
    readonly property color ink: meter.ahead ? Theme.warn : Theme.accent

    implicitHeight: bare ? 6 : bar.y + bar.height + (caption.visible ? 3 + caption.implicitHeight : 0)
    Accessible.role: Accessible.ProgressBar
    Accessible.name: meter.label + ", " + meter.text + (meter.ahead ? ", ahead of pace" : "")
    Accessible.description: [meter.caption, meter.help].filter(words => words !== "").join(". ")

    KText {
        id: label
        width: parent.width - number.width - 6
        visible: !root.bare
        text: root.meter.label
        font.pixelSize: Theme.small
        color: Theme.textSoft
        Accessible.ignored: true
    }
    Row {
        id: number
        anchors.right: parent.right
        visible: !root.bare
        spacing: 4

        KIcon {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.meter.ahead
            size: 12
            name: "warning"
            color: Theme.warn
        }
        KText {
            text: root.meter.text
            font.pixelSize: Theme.small
            font.weight: Font.DemiBold
            color: root.meter.ahead ? Theme.warn : Theme.text
            Accessible.ignored: true
        }
    }
    Rectangle {
        id: bar
        y: root.bare ? 1 : label.height + 5
        width: parent.width
        height: 4
        radius: 2
        color: Theme.line

        Rectangle {
            readonly property real share: Math.max(0, Math.min(100, root.meter.percent)) / 100
            width: root.meter.percent > 0 ? Math.max(4, parent.width * share) : 0
            height: parent.height
            radius: 2
            color: root.ink
            opacity: root.meter.extra > 0 ? 0.45 : 1
        }
        // The measured share stands out against what is estimated.
        Rectangle {
            readonly property real share: Math.max(0, Math.min(100, root.meter.percent - root.meter.extra)) / 100
            visible: root.meter.extra > 0
            width: parent.width * share
            height: parent.height
            radius: 2
            color: root.ink
        }
    }
    KParagraph {
        id: caption
        y: bar.y + bar.height + 3
        width: parent.width
        visible: !root.bare && text !== ""
        text: root.meter.caption
        font.pixelSize: Theme.caption
        lineHeight: 1.2
        color: Theme.textFaint
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    HoverHandler { id: pointer }
    KTooltip {
        readonly property string all: [root.meter.label + " " + root.meter.text, root.meter.caption].filter(words => words !== "").join(" · ")
        visible: pointer.hovered && text !== ""
        text: [root.bare ? all : "", root.meter.help].filter(words => words !== "").join("\n")
    }
}
