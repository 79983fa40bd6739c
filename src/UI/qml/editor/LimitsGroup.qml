import QtQuick
import Keelhaven

/// How long and how urgently a run goes.
OptionGroup {
    id: root

    readonly property var fields: App.agentEditor.fields

    group: 1

    Flow {
        id: flow
        width: parent.width
        spacing: Theme.lg

        Repeater {
            model: [
                { key: "timeoutMinutes", unit: "minutes" },
                { key: "stallMinutes", unit: "minutes" },
                { key: "priority", unit: "" }
            ]

            FormField {
                id: item
                required property var modelData

                width: flow.width >= 480 ? (flow.width - Theme.lg) / 2 : flow.width
                label: root.fields[modelData.key].label
                help: root.fields[modelData.key].help

                NumberField {
                    objectName: item.modelData.key
                    key: item.modelData.key
                    unit: item.modelData.unit
                }
            }
        }
    }
    SwitchLine { width: parent.width; key: "keepAwake" }
}
