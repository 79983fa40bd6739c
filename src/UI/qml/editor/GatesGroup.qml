import QtQuick
import Keelhaven

/// What must hold before a run starts.
OptionGroup {
    id: root

    readonly property var fields: App.agentEditor.fields

    group: 0

    FormField {
        width: parent.width
        label: root.fields.maxUsagePercent.label
        help: root.fields.maxUsagePercent.help

        NumberField {
            objectName: "cap"
            key: "maxUsagePercent"
            placeholder: "Default: " + App.agentEditor.facts.defaultCap
            start: 50
            unit: value === "" ? "" : "%"
        }
    }
    SwitchLine { width: parent.width; key: "runOnlyIfChanged" }
    FormField {
        width: parent.width
        label: root.fields.preflight.label
        help: root.fields.preflight.help

        PreflightField { width: parent.width }
    }
}
