import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Which plugins are on for this agent's sessions. One that is not installed here can be named by its id.
Column {
    id: root

    readonly property var editor: App.agentEditor
    readonly property int many: 8
    readonly property var shown: editor.plugins.filter(
        plugin => (plugin.name + " " + plugin.id).toLowerCase().includes(search.text.toLowerCase()))

    spacing: 6

    KField {
        id: search
        width: parent.width
        visible: root.editor.plugins.length > root.many
        iconName: "search"
        label: "Find a plugin"
        placeholder: "Find among " + root.editor.plugins.length + " plugins"
    }
    ListView {
        // The boxes stand in line with the label; what shows under the pointer reaches further out.
        x: -6
        width: parent.width + 6
        height: Math.min(contentHeight, 240)
        visible: count > 0
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: root.shown
        Accessible.role: Accessible.List
        Accessible.name: "Plugins"
        T.ScrollBar.vertical: KScrollBar {}

        delegate: T.CheckBox {
            id: line
            required property var modelData
            readonly property bool isPicked: root.editor.form.plugins.indexOf(modelData.id) >= 0

            objectName: "plugin-" + modelData.id
            width: ListView.view.width
            height: 44
            hoverEnabled: true
            focusPolicy: Qt.StrongFocus
            Accessible.name: modelData.name
            Accessible.description: modelData.description
            checked: isPicked
            onToggled: checked = Qt.binding(() => isPicked)
            Keys.onReturnPressed: clicked()
            onClicked: root.editor.setPlugin(modelData.id, !isPicked)

            contentItem: Item {
                Rectangle {
                    x: 6
                    anchors.verticalCenter: parent.verticalCenter
                    width: 18
                    height: 18
                    radius: Theme.radiusSmall
                    color: line.isPicked ? Theme.accent : "transparent"
                    border.width: line.isPicked ? 0 : 1
                    border.color: Theme.lineStrong

                    KIcon {
                        anchors.centerIn: parent
                        size: 14
                        name: line.isPicked ? "check" : ""
                        color: Theme.accentInk
                    }
                }
                KText {
                    x: 34
                    y: note.text !== "" ? 4 : 13
                    width: parent.width - x - 8
                    text: line.modelData.name
                    Accessible.ignored: true
                }
                KText {
                    id: note
                    x: 34
                    y: 23
                    width: parent.width - x - 8
                    text: line.modelData.isInstalled ? line.modelData.description : "Not installed here"
                    font.pixelSize: Theme.small
                    color: line.modelData.isInstalled ? Theme.textFaint : Theme.warn
                    Accessible.ignored: true
                }
            }
            background: Rectangle {
                radius: Theme.radius
                color: line.hovered ? Theme.hover : "transparent"
                KFocus { shown: line.visualFocus; gap: 0 }
            }
        }
    }
    Item {
        width: parent.width
        height: Theme.control

        KField {
            id: other
            width: parent.width - add.width - 6
            label: "Id of another plugin"
            placeholder: root.editor.plugins.length > 0 ? "Another one by its id: name@marketplace" : "A plugin by its id: name@marketplace"
            onAccepted: add.clicked()
        }
        KButton {
            id: add
            anchors.right: parent.right
            text: "Add"
            enabled: other.text.trim() !== ""
            help: enabled ? "" : "Type the plugin's id"
            onClicked: {
                root.editor.setPlugin(other.text, true);
                other.clear();
            }
        }
    }
}
