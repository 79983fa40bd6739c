import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// An agent, new or stored: what it does, where, when and on which conditions.
FocusScope {
    id: root
    objectName: "agentEditor"

    readonly property var editor: App.agentEditor
    readonly property var form: editor.form
    readonly property var facts: editor.facts
    /// Where only this half of the panel is in sight, the header leads back to the other.
    property bool showsBack: false
    readonly property bool low: height < 440
    /// On wide windows the form stands in the middle, and its header and footer with it.
    readonly property int margin: Math.max(width < 520 ? Theme.lg : Theme.xxl, Math.floor((width - 720) / 2))

    onVisibleChanged: editor.setWatched(visible)
    Component.onCompleted: editor.setWatched(visible)
    Keys.onEscapePressed: event => event.accepted = editor.close()

    function save() {
        footer.insists = !editor.save();
        if (footer.insists)
            show(editor.hintedField());
    }
    /// Brings a field into sight, and the keyboard to it.
    function show(key) {
        if (key === "workspaceMode" || key === "plugins")
            workspace.isOpen = true;
        else if (key === "keepSessionOpen")
            session.isOpen = true;
        const field = { name: name, cwds: cwds, command: prompt }[key];
        if (field === name)
            name.forceActiveFocus(Qt.TabFocusReason);
        else if (field)
            field.takeFocus();
    }
    function reveal(item) {
        if (!item || !form_.visible)
            return;
        let above = item.parent;
        while (above && above !== form_)
            above = above.parent;
        if (!above)
            return;
        const top = item.mapToItem(form_, 0, 0).y + form_.y;
        const bottom = top + Math.min(item.height, page.height / 2);
        if (top - 40 < page.contentY)
            page.contentY = Math.max(0, top - 40);
        else if (bottom + 40 > page.contentY + page.height)
            page.contentY = Math.min(page.contentHeight - page.height, bottom + 40 - page.height);
    }
    Connections {
        target: root.Window.window
        ignoreUnknownSignals: true
        function onActiveFocusItemChanged() { root.reveal(root.Window.activeFocusItem); }
    }

    EditorHeader {
        id: header
        width: parent.width
        margin: root.margin
        low: root.low
        showsBack: root.showsBack
        onRemoveWanted: {
            const question = root.editor.deleteQuestion();
            remove.title = question.title;
            remove.text = question.text;
            remove.confirmText = question.button;
            remove.ask();
        }
    }
    Flickable {
        id: page
        objectName: "editorPage"
        y: header.height
        width: parent.width
        height: footer.y - y
        clip: true
        contentWidth: width
        contentHeight: form_.implicitHeight + 2 * Theme.xl
        boundsBehavior: Flickable.StopAtBounds
        onContentHeightChanged: returnToBounds()
        flickableDirection: Flickable.VerticalFlick
        T.ScrollBar.vertical: KScrollBar {}
        Accessible.role: Accessible.Form
        Accessible.name: root.facts.isNew ? "New agent" : root.facts.name

        Column {
            id: form_
            x: root.margin
            y: Theme.xl
            width: page.width - 2 * root.margin
            spacing: Theme.xl

            KCallout {
                width: parent.width
                visible: text !== ""
                tone: "warn"
                text: root.facts.notice || ""
            }
            TemplateCards {
                width: parent.width
                visible: root.facts.isNew
            }
            FormField {
                width: parent.width
                label: root.editor.fields.name.label

                KField {
                    id: name
                    objectName: "name"
                    width: parent.width
                    focus: true
                    label: root.editor.fields.name.label
                    placeholder: root.editor.fields.name.help
                    faulty: footer.insists && text.trim() === ""
                    text: root.form.name
                    onTextEdited: root.editor.set("name", text)
                }
            }
            FormField {
                width: parent.width
                label: root.editor.fields.command.label

                PromptEditor {
                    id: prompt
                    width: parent.width
                    faulty: footer.insists && root.form.command.trim() === ""
                }
            }
            FormField {
                width: parent.width
                label: root.editor.fields.cwds.label
                help: root.form.cwds.length > 1 ? root.editor.fields.cwds.help : ""

                FolderList {
                    id: cwds
                    width: parent.width
                    placeholder: "~/code/project"
                    faulty: footer.insists && root.form.cwds.length === 0
                }
                KParagraph {
                    width: parent.width
                    visible: text !== ""
                    text: root.facts.folderNote
                    font.pixelSize: Theme.small
                    color: Theme.warn
                    maximumLineCount: 3
                    elide: Text.ElideRight
                    wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                }
            }
            FormField {
                width: parent.width
                label: root.editor.fields.model.label

                ModelChooser { width: parent.width }
            }
            FormField {
                width: parent.width
                label: root.editor.fields.schedule.label

                ScheduleBuilder { width: parent.width }
            }
            Column {
                width: parent.width

                KLabel {
                    text: "MORE OPTIONS"
                    bottomPadding: Theme.sm
                }
                KLine { width: parent.width }
                GatesGroup { width: parent.width }
                LimitsGroup { width: parent.width }
                WorkspaceGroup { id: workspace; width: parent.width }
                SessionGroup { id: session; width: parent.width }
                ShipGroup { width: parent.width }
            }
        }
    }
    EditorFooter {
        id: footer
        anchors.bottom: parent.bottom
        width: parent.width
        margin: root.margin
        low: root.low
        onSaveWanted: root.save()
    }

    KDialog {
        id: lose
        objectName: "discardDialog"
        onConfirmed: root.editor.discard()
        onClosed: Qt.callLater(() => root.editor.keep())
    }
    KDialog {
        id: remove
        objectName: "deleteDialog"
        onConfirmed: root.editor.remove()
    }
    Connections {
        target: root.editor
        function onDiscardWanted() {
            const question = root.editor.discardQuestion();
            lose.title = question.title;
            lose.text = question.text;
            lose.confirmText = question.button;
            lose.ask();
        }
        function onLoaded() {
            footer.insists = false;
            page.contentY = 0;
        }
        function onChanged() {
            if (root.facts.hint === "")
                footer.insists = false;
        }
        function onFocusWanted() {
            name.forceActiveFocus(Qt.ShortcutFocusReason);
        }
    }
    Shortcut { sequences: [StandardKey.Save]; enabled: root.visible; onActivated: root.save() }
}
