import QtQuick
import Keelhaven

/// When the agent fires, and when that is next.
Column {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var form: editor.form
    readonly property bool isWide: width >= 520
    readonly property int gap: 20
    readonly property int datesWidth: 208

    spacing: Theme.lg

    Item {
        width: parent.width
        implicitHeight: root.isWide ? Math.max(left.implicitHeight, dates.implicitHeight) : dates.y + dates.implicitHeight

        Column {
            id: left
            width: root.isWide ? parent.width - root.datesWidth - root.gap : parent.width
            spacing: Theme.md

            KSelect {
                objectName: "scheduleKind"
                width: Math.min(200, parent.width)
                label: root.editor.fields.schedule.label
                model: ["Daily", "Weekly", "Every few hours", "Once"]
                currentIndex: root.form.scheduleKind
                onActivated: index => {
                    root.editor.set("scheduleKind", index);
                    currentIndex = Qt.binding(() => root.form.scheduleKind);
                }
            }
            DaysField {
                width: parent.width
                visible: root.form.scheduleKind === 1
            }
            TimesField {
                width: parent.width
                visible: root.form.scheduleKind <= 1
            }
            HoursField {
                width: parent.width
                visible: root.form.scheduleKind === 2
            }
            OnceField {
                width: parent.width
                visible: root.form.scheduleKind === 3
            }
        }
        NextDates {
            id: dates
            objectName: "nextDates"
            x: root.isWide ? parent.width - width : 0
            y: root.isWide ? 0 : left.implicitHeight + Theme.md
            width: root.isWide ? root.datesWidth : parent.width
        }
    }
    SwitchLine {
        objectName: "enabledLine"
        width: parent.width
        key: "enabled"
        available: !root.editor.facts.isCodex
        unavailableHelp: "Codex agents run manually only"
    }
}
