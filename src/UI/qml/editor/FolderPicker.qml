import QtQuick
import QtQuick.Dialogs

/// The desktop's own folder dialog, apart so that it is loaded when it is first wanted.
FolderDialog {
    title: "Choose a folder"
}
