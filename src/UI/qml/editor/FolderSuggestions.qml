import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The folders that a typed path may become, below its field. Up and down move, Tab and Return take one.
T.Popup {
    id: control

    property Item field: null
    property bool isDismissed: false
    readonly property var folders: App.agentEditor.folderSuggestions
    readonly property int row: 28

    /// The field holds this text now.
    function follow(item, text) {
        field = item;
        isDismissed = false;
        list.currentIndex = 0;
        App.agentEditor.completeFolder(text);
    }
    function end(item) {
        if (field !== item)
            return;
        field = null;
        App.agentEditor.completeFolder("");
    }
    function accept(index) {
        const text = folders[index];
        field.text = text;
        field.take(text);
    }
    function takeKey(item, event) {
        if (!visible || item !== field)
            return false;
        switch (event.key) {
        case Qt.Key_Up: list.currentIndex = Math.max(0, list.currentIndex - 1); return true;
        case Qt.Key_Down: list.currentIndex = Math.min(folders.length - 1, list.currentIndex + 1); return true;
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_Tab: accept(list.currentIndex); return true;
        case Qt.Key_Escape: isDismissed = true; return true;
        }
        return false;
    }

    parent: field
    visible: field !== null && !isDismissed && folders.length > 0
        && !(folders.length === 1 && folders[0] === field.text)
    y: field ? field.height + 4 : 0
    width: field ? field.width : 0
    height: Math.min(folders.length, 6) * row + 8
    padding: 4
    focus: false
    closePolicy: T.Popup.NoAutoClose

    contentItem: ListView {
        id: list
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        highlightMoveDuration: 0
        model: control.folders
        Accessible.role: Accessible.List
        Accessible.name: "Folders"
        T.ScrollBar.vertical: KScrollBar {}

        delegate: T.ItemDelegate {
            id: line
            required property string modelData
            required property int index

            width: ListView.view.width
            height: control.row
            focusPolicy: Qt.NoFocus
            hoverEnabled: true
            Accessible.name: modelData
            Accessible.selectable: true
            Accessible.selected: list.currentIndex === index
            onClicked: control.accept(index)

            contentItem: KText {
                leftPadding: 8
                rightPadding: 8
                text: line.modelData
                elide: Text.ElideLeft
                Accessible.ignored: true
            }
            background: Rectangle {
                radius: Theme.radiusSmall
                color: list.currentIndex === line.index ? Theme.selected : line.hovered ? Theme.hover : "transparent"
            }
        }
    }
    background: Rectangle {
        radius: Theme.radius + 2
        color: Theme.raised
        border.color: Theme.lineStrong
    }
}
