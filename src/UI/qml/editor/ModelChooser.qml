import QtQuick
import Keelhaven

/// Which command line runs the agent, and on which of its models. The list ends in a way to type another.
Column {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var entries: editor.models.concat([{ value: "", text: "Other model…" }])
    property bool isTyping: false

    spacing: 6

    function indexOf(model) {
        for (let i = 0; i < entries.length - 1; ++i) {
            if (entries[i].value === model)
                return i;
        }
        return 0;
    }

    Flow {
        width: parent.width
        spacing: Theme.sm

        Segments {
            objectName: "provider"
            width: implicitWidth
            label: "Command line"
            model: ["Claude", "Codex"]
            currentIndex: root.editor.form.provider
            onChosen: index => {
                root.isTyping = false;
                root.editor.set("provider", index);
            }
        }
        KSelect {
            id: select
            width: Math.min(240, root.width)
            label: root.editor.fields.model.label
            textRole: "text"
            model: root.entries
            currentIndex: root.isTyping ? root.entries.length - 1 : root.indexOf(root.editor.form.model)
            onActivated: index => {
                root.isTyping = index === root.entries.length - 1;
                if (root.isTyping)
                    other.forceActiveFocus(Qt.TabFocusReason);
                else
                    root.editor.set("model", root.entries[index].value);
                currentIndex = Qt.binding(() => root.isTyping ? root.entries.length - 1 : root.indexOf(root.editor.form.model));
            }
        }
    }
    TypedField {
        id: other
        width: Math.min(320, parent.width)
        visible: root.isTyping
        label: "Name of the model"
        placeholder: "As the command line takes it"
        value: root.editor.form.model
        take: text => root.editor.set("model", text)
    }
    Connections {
        target: root.editor
        function onLoaded() { root.isTyping = false; }
    }
}
