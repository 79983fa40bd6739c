import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// One moment: a day, typed or picked from a month, and a time.
Flow {
    id: root

    readonly property var editor: App.agentEditor

    spacing: 6

    Item {
        width: 164
        height: Theme.control

        TypedField {
            id: day
            objectName: "onceDay"
            anchors.fill: parent
            rightPadding: 32
            iconName: "calendar"
            label: "Day"
            placeholder: "2026-12-24"
            value: root.editor.form.onceDay
            take: text => root.editor.set("onceDay", text)
            Keys.onDownPressed: months.show()
        }
        KButton {
            objectName: "pickDay"
            anchors.right: parent.right
            anchors.rightMargin: 3
            anchors.verticalCenter: parent.verticalCenter
            width: Theme.controlSmall
            compact: true
            kind: "quiet"
            iconName: "chevron-down"
            help: "Pick a day"
            onClicked: months.show()
        }
        MonthPopup {
            id: months
            y: parent.height + 4
            onPicked: text => {
                root.editor.set("onceDay", text);
                day.reset();
            }
        }
    }
    TypedField {
        objectName: "onceTime"
        width: 116
        iconName: "clock"
        label: "Time"
        value: root.editor.form.onceTime
        take: text => root.editor.set("onceTime", text)
    }
}
