import QtQuick
import Keelhaven

/// One request of a task and what came of it.
Column {
    id: root

    property var turn

    spacing: Theme.md

    Item {
        width: parent.width
        implicitHeight: 18
        KLabel { text: root.turn.heading !== "" ? root.turn.heading : "REQUEST" }
        KText {
            anchors.right: parent.right
            text: root.turn.state + " · " + root.turn.timing
            font.pixelSize: Theme.small
            color: root.turn.isFailure ? Theme.bad : root.turn.isLive ? Theme.accent : Theme.textFaint
        }
    }
    KCard {
        width: parent.width
        padding: Theme.md
        KParagraph {
            width: parent.width
            text: root.turn.request
            maximumLineCount: 40
            elide: Text.ElideRight
        }
    }
    KCallout {
        width: parent.width
        visible: text !== ""
        tone: "warn"
        iconName: "question"
        text: root.turn.blocked
    }
    Report {
        width: parent.width
        visible: root.turn.answer.blocks !== undefined
        report: root.turn.answer.blocks !== undefined ? root.turn.answer : undefined
    }
}
