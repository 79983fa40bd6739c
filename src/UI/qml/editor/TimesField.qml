import QtQuick
import Keelhaven

/// The times of a day's runs.
Flow {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var times: editor.form.times

    spacing: 6

    Repeater {
        id: repeater
        model: CountedRows { wanted: root.times.length }

        Item {
            id: entry
            required property int index

            width: 116
            height: Theme.control

            function takeFocus() {
                field.forceActiveFocus(Qt.TabFocusReason);
                field.selectAll();
            }

            TypedField {
                id: field
                objectName: "time-" + entry.index
                anchors.fill: parent
                rightPadding: 30
                label: "Time " + (entry.index + 1)
                iconName: "clock"
                value: entry.index < root.times.length ? root.times[entry.index] : ""
                take: text => root.editor.setTime(entry.index, text)
            }
            KButton {
                anchors.right: parent.right
                anchors.rightMargin: 3
                anchors.verticalCenter: parent.verticalCenter
                width: Theme.controlSmall
                compact: true
                kind: "quiet"
                iconName: "cross"
                help: "Take this time off"
                Accessible.name: "Take " + field.text + " off"
                onClicked: root.editor.removeTime(entry.index)
            }
        }
    }
    KButton {
        objectName: "addTime"
        kind: "quiet"
        iconName: "plus"
        text: "Time"
        help: "One more run a day"
        onClicked: {
            root.editor.addTime();
            repeater.itemAt(repeater.count - 1).takeFocus();
        }
    }
}
