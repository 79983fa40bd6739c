import QtQuick.Dialogs

/// Lets a person pick one file that exists. Made when it is asked for: its module is not small.
FileDialog {
    title: "Choose a file"
    acceptLabel: "Choose"
    fileMode: FileDialog.OpenFile
}
