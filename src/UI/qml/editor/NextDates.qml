import QtQuick
import Keelhaven

/// When the agent will fire, as the schedule stands on the form.
Rectangle {
    id: root

    readonly property var facts: App.agentEditor.facts
    readonly property bool isOn: App.agentEditor.form.enabled

    implicitHeight: column.implicitHeight + 24
    implicitWidth: 200
    radius: Theme.radius
    color: Theme.sunken
    Accessible.role: Accessible.List
    Accessible.name: heading.text

    Column {
        id: column
        x: 14
        y: 12
        width: parent.width - 28
        spacing: 5

        KLabel {
            id: heading
            width: parent.width
            text: root.isOn || root.facts.nextDates.length === 0 ? "NEXT RUNS" : "WOULD RUN, ONCE ENABLED"
        }
        Repeater {
            model: root.facts.nextDates

            KText {
                required property string modelData
                required property int index

                width: column.width
                objectName: "nextDate-" + index
                text: modelData
                font.weight: index === 0 && root.isOn ? Font.DemiBold : Font.Normal
                color: !root.isOn ? Theme.textFaint : index === 0 ? Theme.text : Theme.textSoft
                Accessible.role: Accessible.ListItem
            }
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: root.facts.noDates
            color: Theme.textFaint
        }
    }
}
