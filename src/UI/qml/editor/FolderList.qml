import QtQuick
import Keelhaven

/// Folders in their order: typed, or chosen in the desktop's dialog. The last row takes one more.
Column {
    id: root
    objectName: key

    property string key: "cwds"
    property string label: App.agentEditor.fields[key].label
    property string placeholder
    property bool faulty: false
    readonly property var folders: App.agentEditor.form[key]

    spacing: 6

    function takeFocus() {
        if (repeater.count > 0)
            repeater.itemAt(repeater.count - 1).takeFocus();
    }
    function choose() {
        picker.open();
    }

    Repeater {
        id: repeater
        model: CountedRows { wanted: root.folders.length + 1 }

        Item {
            id: line
            required property int index
            readonly property bool isLast: index >= root.folders.length

            width: root.width
            height: Theme.control

            function takeFocus() {
                field.forceActiveFocus(Qt.TabFocusReason);
            }

            TypedField {
                id: field
                objectName: root.key + "-" + line.index
                width: buttons.x - 6
                label: root.label + " " + (line.index + 1)
                iconName: "folder"
                placeholder: line.index === 0 ? root.placeholder : "Another folder"
                value: root.folders[line.index] || ""
                take: text => {
                    suggestions.follow(field, text);
                    if (line.isLast)
                        App.agentEditor.addFolder(root.key, text);
                    else
                        App.agentEditor.setFolder(root.key, line.index, text);
                    return true;
                }
                onActiveFocusChanged: {
                    if (activeFocus)
                        return;
                    suggestions.end(field);
                    App.agentEditor.leaveFolder(root.key, line.index);
                }
                Keys.onPressed: event => event.accepted = suggestions.takeKey(field, event)
                Binding on faulty {
                    when: root.faulty && line.index === 0
                    value: true
                }
            }
            Row {
                id: buttons
                anchors.right: parent.right
                spacing: 2

                KButton {
                    kind: "quiet"
                    iconName: "arrow-up"
                    help: "Run earlier"
                    visible: !line.isLast && root.folders.length > 1
                    enabled: line.index > 0
                    Accessible.name: "Move folder " + (line.index + 1) + " up"
                    onClicked: App.agentEditor.moveFolder(root.key, line.index, line.index - 1)
                }
                KButton {
                    kind: "quiet"
                    iconName: "cross"
                    help: "Take it off"
                    visible: !line.isLast
                    Accessible.name: "Take folder " + (line.index + 1) + " off"
                    onClicked: App.agentEditor.removeFolder(root.key, line.index)
                }
                KButton {
                    text: "Choose…"
                    help: picker.failed ? "The desktop's folder dialog is not installed; type the path." : "Choose a folder"
                    enabled: !picker.failed
                    visible: line.isLast
                    onClicked: root.choose()
                }
            }
        }
    }
    FolderSuggestions { id: suggestions }
    Loader {
        id: picker
        readonly property bool failed: status === Loader.Error

        function open() {
            source = Qt.resolvedUrl("FolderPicker.qml");
            if (!item)
                return;
            item.currentFolder = App.agentEditor.folderToStartAt();
            item.open();
        }
        Connections {
            target: picker.item
            ignoreUnknownSignals: true
            function onAccepted() {
                App.agentEditor.addFolder(root.key, App.agentEditor.localPath(picker.item.selectedFolder));
            }
        }
    }
}
