import QtQuick
import Keelhaven

/// Where the session works and what it finds there.
OptionGroup {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var fields: editor.fields

    group: 2

    FormField {
        width: parent.width
        label: root.fields.workspaceMode.label
        help: [
            "Runs straight in each project folder.",
            "The whole agent has one workspace.",
            "Each project folder has a workspace of its own."
        ][root.editor.form.workspaceMode]

        Segments {
            objectName: "workspaceMode"
            width: implicitWidth
            label: root.fields.workspaceMode.label
            model: ["None", "Shared", "Per folder"]
            currentIndex: root.editor.form.workspaceMode
            onChosen: index => root.editor.set("workspaceMode", index)
        }
    }
    FormField {
        width: parent.width
        label: root.fields.plugins.label
        help: root.fields.plugins.help

        PluginPicker { width: parent.width }
    }
    FormField {
        width: parent.width
        label: root.fields.addDirs.label
        help: root.fields.addDirs.help

        FolderList {
            width: parent.width
            key: "addDirs"
            placeholder: "A folder that sessions may reach"
        }
    }
}
