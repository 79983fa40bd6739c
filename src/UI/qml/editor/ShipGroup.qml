import QtQuick
import Keelhaven

/// Which ship the agent belongs to, and whether its captain runs it.
OptionGroup {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var ships: editor.ships

    group: 4

    function indexOf(id) {
        for (let i = 0; i < ships.length; ++i) {
            if (ships[i].value === id)
                return i;
        }
        return 0;
    }

    FormField {
        width: parent.width
        help: root.editor.fields.shipID.help

        KSelect {
            objectName: "ship"
            width: Math.min(280, parent.width)
            label: root.editor.fields.shipID.label
            textRole: "text"
            model: root.ships
            currentIndex: root.indexOf(root.editor.form.shipID)
            onActivated: index => {
                root.editor.set("shipID", root.ships[index].value);
                currentIndex = Qt.binding(() => root.indexOf(root.editor.form.shipID));
            }
        }
    }
    SwitchLine { objectName: "captainLine"; width: parent.width; key: "captainDecides" }
    KCallout {
        width: parent.width
        visible: text !== ""
        tone: "warn"
        text: root.editor.facts.warning
    }
}
