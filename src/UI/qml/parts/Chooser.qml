import QtQuick

/// Asks for a folder or a file in the desktop's own dialog, and gives its address.
Item {
    id: root

    property bool wantsFile: false
    property var dialog: null

    signal chosen(string url)

    function open() {
        if (!dialog) {
            const component = Qt.createComponent(Qt.resolvedUrl(wantsFile ? "FileChooser.qml" : "FolderChooser.qml"));
            if (component.status !== Component.Ready) {
                console.warn(component.errorString());
                return;
            }
            dialog = component.createObject(root, { parentWindow: root.Window.window });
            dialog.accepted.connect(() => root.chosen(wantsFile ? dialog.selectedFile : dialog.selectedFolder));
        }
        dialog.open();
    }
}
