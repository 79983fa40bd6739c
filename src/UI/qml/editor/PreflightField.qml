import QtQuick
import Keelhaven

/// The command that must succeed before a launch, with a way to try it here and now.
Column {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var trial: editor.trial
    readonly property bool isRunning: trial.state === "running"

    spacing: 6

    Item {
        width: parent.width
        height: Theme.control

        KField {
            id: field
            objectName: "preflight"
            width: parent.width - attempt.width - 6
            label: root.editor.fields.preflight.label
            placeholder: "make check"
            font.family: Theme.mono
            font.pixelSize: Theme.small
            text: root.editor.form.preflight
            onTextEdited: root.editor.set("preflight", text)
            onAccepted: if (!root.isRunning) root.trial.run(text)
        }
        KButton {
            id: attempt
            objectName: "tryPreflight"
            anchors.right: parent.right
            text: root.isRunning ? "Cancel" : "Try it"
            iconName: root.isRunning ? "stop" : "play"
            enabled: root.isRunning || field.text.trim() !== ""
            help: enabled ? "" : "Type a command to try"
            onClicked: root.isRunning ? root.trial.cancel() : root.trial.run(field.text)
        }
    }
    Rectangle {
        width: parent.width
        height: Math.min(180, result.height + (output.visible ? output.implicitHeight + 6 : 0) + 20)
        visible: root.trial.state !== ""
        radius: Theme.radius
        color: Theme.sunken
        clip: true
        Accessible.role: Accessible.AlertMessage
        Accessible.name: result.text

        Row {
            id: result
            x: 12
            y: 10
            height: 18
            spacing: 6
            readonly property string text: root.isRunning ? "Running…" : root.trial.result

            KIcon {
                anchors.verticalCenter: parent.verticalCenter
                size: 14
                name: root.isRunning ? "hourglass" : root.trial.state === "passed" ? "check-circle"
                    : root.trial.state === "cancelled" ? "stop" : "cross-circle"
                color: Theme.tone(root.trial.state === "passed" ? "good" : root.trial.state === "failed" ? "bad" : "")
            }
            KText {
                height: parent.height
                text: result.text
                font.weight: Font.Medium
                Accessible.ignored: true
            }
        }
        Flickable {
            y: 34
            x: 12
            width: parent.width - 24
            height: parent.height - y - 10
            visible: output.visible
            clip: true
            contentHeight: output.implicitHeight
            contentY: Math.max(0, contentHeight - height)
            boundsBehavior: Flickable.StopAtBounds

            KParagraph {
                id: output
                width: parent.width
                visible: text !== ""
                text: root.trial.output
                font.family: Theme.mono
                font.pixelSize: Theme.small
                wrapMode: Text.WrapAnywhere
                color: Theme.textSoft
            }
        }
    }
}
