import QtQuick
import Keelhaven

/// One run: what it does, or what it did.
FocusScope {
    objectName: "runDetail"

    id: root

    readonly property var detail: App.runDetail
    readonly property bool isLive: detail.card === "live"
    /// A task's newest turn may be live as well.
    readonly property bool hasSession: detail.live.open !== undefined
    readonly property bool isFinished: detail.card === "finished"
    readonly property bool isTask: detail.card === "task"
    readonly property bool low: height < 440
    /// No room for the state beside the buttons: it stands below them, and one of them gives up its word.
    readonly property bool tight: width < 560 && !low
    readonly property int edge: width < 520 ? Theme.lg : Theme.xxl
    /// On wide windows the text stands in the middle, and the header with it. A terminal takes what there is, up
    /// to its own width: a session's has 200 columns.
    readonly property int margin: isLive ? terminalMargin : Math.max(edge, Math.floor((width - 720) / 2))
    readonly property int terminalMargin: Math.max(edge, Math.floor((width - 1480) / 2))
    readonly property int start: Math.max(56, margin + 24)

    readonly property string shownRun: detail.runID

    onShownRunChanged: page.contentY = 0
    Keys.onEscapePressed: detail.back()

    Column {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: root.detail.card === "nothing" || root.detail.card === "waiting"
        spacing: Theme.lg

        KEmpty {
            width: parent.width
            iconName: root.detail.card === "waiting" ? "hourglass" : "history"
            text: root.detail.card === "waiting" ? root.detail.waitingText : root.detail.nothingText
        }
        KButton {
            anchors.horizontalCenter: parent.horizontalCenter
            visible: root.detail.card === "nothing"
            text: "Back to the agent editor"
            onClicked: root.detail.back()
        }
    }

    FocusScope {
        id: header
        width: parent.width
        height: !visible ? 0 : root.low ? 64 : root.tight ? 96 : 84
        visible: root.detail.card !== "nothing"
        focus: true

        KButton {
            id: back
            objectName: "backButton"
            x: root.start - 44
            y: root.low ? 12 : 20
            kind: "quiet"
            iconName: "arrow-left"
            help: root.detail.header.back ? root.detail.header.back.help : ""
            onClicked: root.detail.back()
        }
        KText {
            x: root.start
            y: root.low ? 8 : 18
            width: parent.width - x - actions.width - Theme.xl
            text: (root.isTask ? root.detail.task.title : root.detail.header.title) || ""
            font.pixelSize: Theme.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KText {
            x: root.start
            objectName: "runState"
            y: root.low ? 35 : root.tight ? 58 : 46
            width: parent.width - x - (root.tight ? Theme.lg : actions.width + Theme.xl)
            text: (root.detail.header.subtitle || "") + (timer.text !== "" ? " · " + timer.text : "")
            color: root.detail.header.isFailure ? Theme.bad : root.hasSession ? Theme.accent : Theme.textSoft
        }
        Row {
            id: actions
            anchors.right: parent.right
            // A frameless button's picture, not its edge, ends where the text does.
            anchors.rightMargin: root.margin - (trash.visible ? 8 : 0)
            y: root.low ? 12 : 20
            spacing: Theme.sm

            KButton {
                visible: root.hasSession && (root.detail.live.takenOver || "") === ""
                text: root.tight ? "" : "Take over"
                iconName: "hand"
                help: root.tight ? "Take over: keep the session yours after it finishes" : "Keep the session yours after it finishes"
                onClicked: root.detail.takeOver()
            }
            KButton {
                readonly property var deed: root.detail.live.open
                visible: deed !== undefined
                kind: "primary"
                text: deed ? deed.title : ""
                help: deed ? deed.help : ""
                onClicked: root.detail.openInHerdr()
            }
            KButton {
                readonly property var deed: root.detail.header.resume
                visible: !root.hasSession && deed !== undefined
                text: deed ? deed.title : ""
                help: deed ? deed.help : ""
                enabled: deed !== undefined && deed.enabled
                iconName: "terminal"
                onClicked: root.detail.resume()
            }
            KButton {
                objectName: "dequeueButton"
                readonly property var deed: root.detail.header.dequeue
                visible: deed !== undefined
                text: deed ? deed.title : ""
                iconName: "cross"
                onClicked: root.detail.dequeue()
            }
            KButton {
                objectName: "stopButton"
                readonly property var deed: root.detail.header.stop
                visible: deed !== undefined
                kind: "danger"
                iconName: "stop"
                help: deed ? deed.help : ""
                onClicked: stop.askFor(root.detail.runID, "")
            }
            KButton {
                id: trash
                readonly property var deed: root.detail.header.delete
                visible: deed !== undefined
                kind: "quiet"
                iconName: "trash"
                help: deed ? deed.help : ""
                onClicked: remove.ask()
            }
        }
        KLine {
            anchors.bottom: parent.bottom
            width: parent.width
        }
    }
    readonly property bool watchesLive: visible && hasSession && Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized
    onWatchesLiveChanged: detail.setWatched(watchesLive)
    Timer {
        id: timer
        property string text
        interval: 1000
        repeat: true
        triggeredOnStart: true
        running: root.watchesLive
        onTriggered: text = root.detail.elapsed()
        onRunningChanged: if (!running) text = ""
    }

    KPage {
        id: page
        objectName: "runPage"
        y: header.height
        width: parent.width
        height: parent.height - y
        visible: header.visible && !root.detail.showsRawOutput
        label: "Run"
        contentHeight: body.implicitHeight + 2 * Theme.xl

        Column {
            id: body
            x: root.margin
            y: Theme.xl
            width: root.width - 2 * root.margin
            spacing: Theme.xl

            // A live run.
            KCallout {
                width: parent.width
                visible: root.isLive && text !== ""
                tone: "warn"
                iconName: "question"
                text: root.detail.live.blocked || ""
            }
            KCallout {
                width: parent.width
                visible: root.isLive && text !== ""
                tone: "accent"
                iconName: "hand"
                text: root.detail.live.takenOver || ""
            }
            Column {
                width: parent.width
                visible: root.hasSession && root.detail.progress !== ""
                spacing: Theme.sm
                KLabel { text: "LATEST PROGRESS" }
                KParagraph {
                    width: Math.min(720, parent.width)
                    text: root.detail.progress
                    font.pixelSize: Theme.prose
                }
            }
            Facts {
                width: Math.min(720, parent.width)
                visible: root.isLive
                rows: root.isLive ? root.detail.live.rows || [] : []
            }
            Column {
                id: terminal
                width: parent.width
                visible: root.hasSession && screen.count > 0
                spacing: Theme.sm
                KLabel { text: "ITS TERMINAL" }
                RawOutputView {
                    id: screen
                    width: parent.width
                    // Down to the lower edge, but never less than one can read in.
                    height: Math.max(root.isTask ? 320 : 200, root.isTask ? 0 : page.height - terminal.y - y - 2 * Theme.xl)
                    output: root.detail.liveScreen
                    followsEnd: true
                }
            }

            // A task with its turns.
            Column {
                width: parent.width
                visible: root.isTask
                spacing: Theme.xs
                Repeater {
                    model: root.isTask ? root.detail.task.facts || [] : []
                    KParagraph {
                        required property string modelData
                        width: body.width
                        text: modelData
                        color: Theme.textSoft
                    }
                }
                KCallout {
                    width: parent.width
                    visible: text !== ""
                    text: root.detail.task.note || ""
                }
            }
            Repeater {
                model: root.isTask ? root.detail.task.turns || [] : []
                Turn {
                    required property var modelData
                    width: body.width
                    turn: modelData
                }
            }

            // A finished run.
            Column {
                width: parent.width
                visible: root.isFinished
                spacing: Theme.md
                KLabel { text: "WHAT IT REPORTED" }
                Report {
                    width: parent.width
                    report: root.detail.finished.report
                }
            }
            Column {
                width: parent.width
                visible: root.detail.deliverables.length > 0
                spacing: Theme.md
                KLabel { text: "DELIVERABLES" }
                Deliverables {
                    width: parent.width
                    files: root.detail.deliverables
                    onOpened: path => root.detail.openFile(path)
                }
            }
            KLine {
                width: parent.width
                visible: root.isFinished
            }
            Column {
                width: parent.width
                visible: root.isFinished
                spacing: Theme.md
                KText {
                    width: parent.width
                    text: root.detail.finished.timing || ""
                    color: Theme.textSoft
                }
                Facts {
                    width: parent.width
                    rows: root.isFinished ? root.detail.facts : []
                }
            }
            KButton {
                visible: root.isFinished && root.detail.finished.hasRawOutput === true
                text: "Show raw terminal output"
                iconName: "terminal"
                onClicked: root.detail.showsRawOutput = true
            }
        }
    }
    FocusScope {
        y: header.height
        width: parent.width
        height: parent.height - y
        visible: header.visible && root.detail.showsRawOutput

        KButton {
            id: hideRaw
            x: root.terminalMargin
            y: Theme.md
            text: "Hide raw terminal output"
            iconName: "terminal"
            onClicked: root.detail.showsRawOutput = false
        }
        RawOutputView {
            x: root.terminalMargin
            y: hideRaw.y + hideRaw.height + Theme.md
            width: parent.width - 2 * root.terminalMargin
            height: parent.height - y - Theme.lg
            output: root.detail.rawOutput
        }
    }

    StopDialog { id: stop }
    KDialog {
        id: remove
        title: "Delete this run?"
        text: root.detail.header.delete ? root.detail.header.delete.help : ""
        confirmText: "Delete the run"
        onConfirmed: root.detail.remove()
    }
}
