import QtQuick
import Keelhaven

/// What the last sweep said, with those before it, and the way to the next one.
KCard {
    id: root

    readonly property bool hasReport: Sweep.blocks.length > 0
    readonly property bool hasOthers: Sweep.followUps.length > 0 || Sweep.earlier.length > 0
    /// How wide it may become; from a width on the other reports stand beside the latest.
    property real room: width
    readonly property bool isWide: room >= 1100 && hasOthers

    objectName: "morningReport"
    padding: Theme.xl
    spacing: Theme.lg

    Watcher { view: Sweep }

    component Line: KRow {
        id: line
        property var run

        // The words stand in line with the headings; what shows under the pointer reaches further out.
        x: -10
        width: parent ? parent.width + 20 : 0
        height: run.summary !== "" ? 48 : 34
        leftPadding: 10
        rightPadding: 10
        separated: false
        focusPolicy: Qt.StrongFocus
        Accessible.role: Accessible.Button
        Accessible.name: run.when + (run.summary !== "" ? ": " + run.summary : "")
        Keys.onReturnPressed: clicked()
        onClicked: Sweep.show(run.runID)

        KText {
            y: line.run.summary !== "" ? 6 : (line.height - height) / 2
            width: parent.width - 18
            text: line.run.when
            font.weight: Font.Medium
            Accessible.ignored: true
        }
        KText {
            y: 25
            width: parent.width - 18
            visible: text !== ""
            text: line.run.summary
            font.pixelSize: Theme.small
            color: Theme.textSoft
            Accessible.ignored: true
        }
        KIcon {
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            size: 12
            name: "chevron-right"
            color: Theme.textFaint
        }
        KFocus { shown: line.visualFocus; gap: 0 }
    }

    Item {
        readonly property bool stacked: width < 560

        width: parent.width
        height: Math.max(heading.height + (sub.visible ? sub.height + 4 : 0), Theme.control) + (stacked && sub.visible ? Theme.control + Theme.md : 0)

        KText {
            id: heading
            text: "Morning report"
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        Row {
            id: sub
            y: heading.height + 4
            spacing: Theme.sm
            visible: Sweep.timing !== ""

            KText {
                text: Sweep.timing
                font.pixelSize: Theme.small
                color: Theme.textSoft
            }
            KChip {
                text: Sweep.outcome
                tone: Sweep.isFailure ? "bad" : "good"
            }
        }
        Row {
            x: parent.stacked && sub.visible ? 0 : parent.width - width
            y: parent.stacked && sub.visible ? parent.height - height : 0
            spacing: Theme.sm

            KButton {
                objectName: "resumeSweep"
                visible: Sweep.runID !== ""
                text: "Pick it back up"
                iconName: "terminal"
                enabled: Sweep.resumeBlocked === ""
                help: Sweep.resumeBlocked !== "" ? Sweep.resumeBlocked : "Opens the sweep's conversation in Herdr, for you to go on with"
                onClicked: Sweep.resume()
            }
            KButton {
                objectName: "runSweep"
                text: "Sweep now"
                iconName: "refresh"
                kind: Sweep.runID === "" ? "primary" : "plain"
                enabled: Sweep.runBlocked === ""
                help: Sweep.runBlocked !== "" ? Sweep.runBlocked : "Runs /keelhaven once, through every project"
                onClicked: Sweep.run()
            }
        }
    }
    Rectangle {
        width: parent.width
        height: 40
        radius: Theme.radius
        visible: Sweep.state !== ""
        color: Theme.accentSoft

        KIcon {
            x: 12
            anchors.verticalCenter: parent.verticalCenter
            name: Sweep.liveRunID !== "" ? "working" : "hourglass"
            color: Theme.accent
        }
        KText {
            x: 38
            width: parent.width - x - (show.visible ? show.width + 20 : 12)
            height: parent.height
            text: Sweep.state
            font.weight: Font.Medium
        }
        KButton {
            id: show
            anchors.right: parent.right
            anchors.rightMargin: 7
            anchors.verticalCenter: parent.verticalCenter
            visible: Sweep.liveRunID !== ""
            compact: true
            text: "Show"
            onClicked: Sweep.show(Sweep.liveRunID)
        }
    }
    KCallout {
        // Said aloud where it stops the first sweep; later the button says it.
        width: parent.width
        visible: Sweep.runID === "" && Sweep.state === "" && Sweep.runBlocked !== ""
        tone: "warn"
        text: Sweep.runBlocked

        KButton {
            text: "Settings…"
            compact: true
            onClicked: {
                Settings.page = "misc";
                App.showsSettings = true;
            }
        }
    }
    KLine { width: parent.width }
    Item {
        width: parent.width
        implicitHeight: root.isWide ? Math.max(latest.implicitHeight, others.implicitHeight)
            : latest.implicitHeight + (others.visible ? Theme.lg + others.implicitHeight : 0)

        Column {
            id: latest
            width: Math.min(680, parent.width)
            spacing: Theme.lg

            Prose {
                width: parent.width
                visible: root.hasReport
                blocks: Sweep.blocks
            }
            KParagraph {
                width: parent.width
                visible: text !== ""
                text: Sweep.notice
                color: Theme.textSoft
                maximumLineCount: 12
                elide: Text.ElideRight
            }
        }
        KLine {
            x: others.x - Theme.xl
            visible: root.isWide
            vertical: true
            height: parent.height
        }
        Column {
            id: others
            x: root.isWide ? parent.width - width : 0
            y: root.isWide ? 0 : latest.implicitHeight + Theme.lg
            width: root.isWide ? parent.width - latest.width - 2 * Theme.xl : parent.width
            spacing: Theme.lg
            visible: root.hasOthers

            Column {
                width: parent.width
                spacing: 4
                visible: Sweep.followUps.length > 0

                KLabel { text: "GONE ON WITH" }
                Repeater {
                    model: Sweep.followUps
                    Line {
                        required property var modelData
                        run: modelData
                    }
                }
            }
            Column {
                width: parent.width
                spacing: 4
                visible: Sweep.earlier.length > 0

                KLabel { text: "EARLIER REPORTS" }
                Repeater {
                    model: Sweep.earlier
                    Line {
                        required property var modelData
                        run: modelData
                    }
                }
            }
        }
    }
}
