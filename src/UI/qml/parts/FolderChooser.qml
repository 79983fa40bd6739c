import QtQuick.Dialogs

/// Lets a person pick one folder, or make one. Made when it is asked for: its module is not small.
FolderDialog {
    title: "Choose a folder"
    acceptLabel: "Choose"
}
