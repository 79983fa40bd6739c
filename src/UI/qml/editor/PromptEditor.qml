import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Where the prompt is written: offers commands and paths while they are typed, and tells below what would not
/// be there when the agent runs.
Column {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var completion: editor.prompt
    property alias faulty: field.faulty

    spacing: 6

    function takeFocus() {
        field.area.forceActiveFocus(Qt.TabFocusReason);
    }
    function accept(row) {
        const edit = completion.accept(row);
        if (edit.insertion === undefined)
            return false;
        field.area.remove(edit.start, edit.start + edit.length);
        field.area.insert(edit.start, edit.insertion);
        field.area.cursorPosition = edit.start + edit.insertion.length;
        return true;
    }
    function takeKey(event) {
        switch (event.key) {
        case Qt.Key_Up: return completion.moveSelection(-1);
        case Qt.Key_Down: return completion.moveSelection(1);
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_Tab: return event.modifiers === Qt.NoModifier && accept(-1);
        case Qt.Key_Escape: return completion.dismiss();
        }
        return false;
    }

    KTextArea {
        id: field
        objectName: "command"
        width: parent.width
        height: Math.max(112, Math.min(300, area.implicitHeight + 4))
        label: root.editor.fields.command.label
        placeholder: root.editor.facts.isCodex ? "What is the agent to do?" : "What is the agent to do? “/” offers commands"
        text: root.editor.form.command
        filter: event => root.takeKey(event)
        onEdited: {
            root.editor.set("command", text);
            root.completion.edited(text, area.cursorPosition);
        }

        Connections {
            target: field.area
            function onCursorPositionChanged() {
                root.completion.caretMoved(field.area.cursorPosition);
            }
        }
        T.Popup {
            id: popup
            objectName: "suggestions"

            readonly property rect caret: field.area.cursorRectangle
            readonly property int row: 28
            readonly property point at: visible ? field.area.mapToItem(field, caret.x, caret.y) : Qt.point(0, 0)
            readonly property real room: {
                const below = visible ? field.mapToItem(null, 0, at.y + caret.height + 6).y : 0;
                return field.Window.height - below - 8;
            }
            readonly property bool isAbove: room < 4 * row && room < list.contentHeight + 8

            x: Math.max(0, Math.min(field.width - width, at.x - 24))
            y: isAbove ? at.y - height - 6 : at.y + caret.height + 6
            width: Math.min(field.width, 380)
            height: isAbove ? Math.min(list.contentHeight + 8, 5 * row + 8) : Math.min(list.contentHeight + 8, Math.max(2 * row, room))
            padding: 4
            focus: false
            closePolicy: T.Popup.NoAutoClose
            visible: root.completion.isOpen && field.area.activeFocus

            contentItem: ListView {
                id: list
                clip: true
                boundsBehavior: Flickable.StopAtBounds
                highlightMoveDuration: 0
                model: root.completion.suggestions
                currentIndex: root.completion.selection
                Accessible.role: Accessible.List
                Accessible.name: "Suggestions"

                delegate: T.ItemDelegate {
                    id: line
                    required property var modelData
                    required property int index

                    width: ListView.view.width
                    height: popup.row
                    focusPolicy: Qt.NoFocus
                    hoverEnabled: true
                    Accessible.name: modelData.label + ", " + modelData.detail
                    Accessible.selectable: true
                    Accessible.selected: list.currentIndex === index
                    onClicked: root.accept(index)

                    contentItem: Item {
                        KText {
                            x: 8
                            width: parent.width - detail.width - 28
                            height: parent.height
                            text: line.modelData.label
                            font.family: Theme.mono
                            font.pixelSize: Theme.small
                            Accessible.ignored: true
                        }
                        KText {
                            id: detail
                            anchors.right: parent.right
                            anchors.rightMargin: 8
                            width: Math.min(implicitWidth, 140)
                            height: parent.height
                            text: line.modelData.detail
                            font.pixelSize: Theme.small
                            color: Theme.textFaint
                            Accessible.ignored: true
                        }
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
    }
    PromptNoticeRow {
        width: parent.width
        visible: root.editor.facts.promptNote !== ""
        notice: ({ text: root.editor.facts.promptNote })
    }
    Repeater {
        model: root.completion.notices

        PromptNoticeRow {
            required property var modelData
            required property int index

            width: root.width
            notice: modelData
            onAddWanted: root.completion.addToAgent(index)
            onEnableWanted: root.completion.enable(index)
        }
    }
    Connections {
        target: root.editor
        function onLoaded() { root.completion.load(root.editor.form.command); }
    }
    Component.onCompleted: completion.load(editor.form.command)
}
