import QtQuick
import Keelhaven

/// Which agent is open, and what can be done with it.
FocusScope {
    id: root

    property int margin: Theme.xxl
    property bool low: false
    property bool showsBack: false
    readonly property int start: showsBack ? Math.max(56, margin + 24) : margin
    readonly property var editor: App.agentEditor
    readonly property var facts: editor.facts

    signal removeWanted()

    implicitHeight: low ? 64 : 84

    KButton {
        x: root.start - 44
        y: root.low ? 12 : 20
        visible: root.showsBack
        kind: "quiet"
        iconName: "arrow-left"
        help: "Agents"
        onClicked: root.editor.close()
    }
    Row {
        x: root.start
        y: root.low ? 8 : 18
        spacing: Theme.sm

        KText {
            id: title
            objectName: "editorTitle"
            width: Math.min(implicitWidth, root.width - parent.x - actions.width - Theme.xl - (edited.visible ? edited.width + 8 : 0))
            text: root.facts.isNew ? "New agent" : root.facts.name !== "" ? root.facts.name : "Unnamed"
            font.pixelSize: Theme.heading
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KChip {
            id: edited
            anchors.verticalCenter: title.verticalCenter
            visible: root.facts.hasChanges && !root.facts.isNew
            text: "Edited"
            tone: "accent"
        }
    }
    KText {
        x: root.start
        y: root.low ? 35 : 46
        width: parent.width - x - actions.width - Theme.xl
        text: root.facts.isNew ? "It is stored once you save it" : root.facts.subtitle
        color: Theme.textSoft
    }
    Row {
        id: actions
        anchors.right: parent.right
        // The frameless button's picture, not its edge, ends where the form does.
        anchors.rightMargin: root.margin - 8
        y: root.low ? 12 : 20
        spacing: Theme.sm
        visible: !root.facts.isNew

        KButton {
            objectName: "runNow"
            text: "Run now"
            iconName: "play"
            enabled: !root.facts.hasChanges
            help: enabled ? "" : "Save your changes first"
            onClicked: root.editor.runNow()
        }
        KButton {
            id: more
            objectName: "editorMenu"
            kind: "quiet"
            iconName: "more"
            help: "More"
            onClicked: menu.popup(more, more.width - menu.width, more.height + 4)
        }
    }
    KMenu {
        id: menu

        KMenuItem { text: "Duplicate"; iconName: "copy"; onTriggered: root.editor.duplicate() }
        KMenuLine {}
        KMenuItem { text: "Delete…"; iconName: "trash"; danger: true; onTriggered: root.removeWanted() }
    }
    KLine {
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
