import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The days of a week's runs, Monday first.
Flow {
    id: root

    readonly property var editor: App.agentEditor

    spacing: 4

    Repeater {
        model: [
            { day: 2, text: "Mon" }, { day: 3, text: "Tue" }, { day: 4, text: "Wed" }, { day: 5, text: "Thu" },
            { day: 6, text: "Fri" }, { day: 7, text: "Sat" }, { day: 1, text: "Sun" }
        ]

        T.CheckBox {
            id: button
            required property var modelData
            readonly property bool isOn: root.editor.form.days.indexOf(modelData.day) >= 0

            objectName: "day-" + modelData.day
            width: 44
            height: Theme.control
            hoverEnabled: true
            focusPolicy: Qt.StrongFocus
            Accessible.name: modelData.text
            checked: isOn
            onToggled: checked = Qt.binding(() => isOn)
            Keys.onReturnPressed: clicked()
            onClicked: root.editor.toggleDay(modelData.day)

            contentItem: KText {
                text: button.modelData.text
                horizontalAlignment: Text.AlignHCenter
                font.weight: button.isOn ? Font.DemiBold : Font.Medium
                color: button.isOn ? Theme.accent : Theme.textSoft
                Accessible.ignored: true
            }
            background: Rectangle {
                radius: Theme.radius
                color: button.isOn ? Theme.accentSoft : button.hovered ? Theme.hover : "transparent"
                border.width: 1
                border.color: button.isOn ? Theme.accent : button.hovered ? Theme.lineStrong : Theme.line

                KFocus { shown: button.visualFocus }
            }
        }
    }
}
