import QtQuick
import Keelhaven

/// What a run said at its end, and why it failed. `report` comes from the run's detail.
Column {
    id: root

    property var report

    spacing: Theme.md

    Prose {
        width: parent.width
        visible: root.report !== undefined && root.report.blocks.length > 0
        blocks: root.report ? root.report.blocks : []
    }
    KParagraph {
        width: parent.width
        visible: text !== ""
        text: root.report ? root.report.sentence : ""
        color: Theme.textSoft
    }
    KCallout {
        width: parent.width
        visible: text !== ""
        tone: "bad"
        text: root.report ? root.report.failure : ""
    }
}
