import QtQuick
import Keelhaven

/// How the terminal host does, and what can be done about it.
Item {
    id: root

    objectName: "herdrCard"
    implicitHeight: column.implicitHeight + 2 * Theme.md

    Column {
        id: column
        y: Theme.md
        width: parent.width
        spacing: Theme.sm

        Item {
            width: parent.width
            height: Math.max(words.implicitHeight, 20)

            KIcon {
                y: 2
                name: Herdr.busy ? "hourglass" : Herdr.blocksRuns || Herdr.summary === "" ? "warning" : "check-circle"
                color: Herdr.busy ? Theme.textSoft : Herdr.blocksRuns ? Theme.bad : Herdr.summary === "" ? Theme.warn : Theme.good
            }
            KParagraph {
                id: words
                x: 26
                width: parent.width - x
                text: Herdr.summary !== "" ? Herdr.summary : Herdr.busy ? "Checking…" : Herdr.message !== "" ? Herdr.message : "Not checked yet"
                maximumLineCount: 4
                elide: Text.ElideRight
            }
        }
        KParagraph {
            x: 26
            width: parent.width - x
            visible: Herdr.summary !== "" && text !== ""
            text: Herdr.message
            color: Herdr.blocksRuns ? Theme.bad : Theme.textSoft
            font.pixelSize: Theme.small
        }
        KParagraph {
            x: 26
            width: parent.width - x
            visible: text !== ""
            text: Herdr.binary
            font.family: Theme.mono
            font.pixelSize: Theme.small
            color: Theme.textFaint
            wrapMode: Text.WrapAnywhere
            maximumLineCount: 3
            elide: Text.ElideRight
        }
        KCallout {
            width: parent.width
            visible: text !== ""
            tone: "bad"
            text: Herdr.installError
        }
        Row {
            x: 26
            spacing: Theme.sm

            KButton {
                objectName: "herdrCheck"
                text: Herdr.busy ? "Checking…" : "Check"
                enabled: !Herdr.busy
                onClicked: Herdr.check()
            }
            KButton {
                text: "Reinstall"
                enabled: !Herdr.busy
                help: "Puts Keelhaven's own copy in its place anew"
                onClicked: Herdr.reinstall()
            }
            KButton {
                visible: Herdr.pendingRestart
                text: "Restart the server"
                enabled: !Herdr.busy && !Herdr.hasRuns
                help: Herdr.hasRuns ? "Runs are live or waiting; it is replaced once none is" : "Replaces the running server by the installed version"
                onClicked: Herdr.restartServer()
            }
        }
    }
}
