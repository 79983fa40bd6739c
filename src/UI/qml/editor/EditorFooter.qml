import QtQuick
import Keelhaven

/// What stands between the form and the store: the hint, and the buttons.
Rectangle {
    id: root

    readonly property var editor: App.agentEditor
    readonly property var facts: editor.facts
    property int margin: Theme.xxl
    property bool low: false
    /// A save was refused: the hint is what one looks for now.
    property bool insists: false

    signal saveWanted()

    implicitHeight: Math.max(low ? 46 : 56, hint.implicitHeight + 20)
    color: Theme.raised

    KLine { width: parent.width }
    KIcon {
        x: root.margin
        anchors.verticalCenter: parent.verticalCenter
        visible: hint.text !== ""
        name: root.facts.hint === "" ? "check" : root.insists ? "warning" : "info"
        color: hint.color
    }
    KParagraph {
        id: hint
        objectName: "saveHint"
        x: root.margin + 24
        anchors.verticalCenter: parent.verticalCenter
        // A paragraph has its leading below the line.
        anchors.verticalCenterOffset: 3
        width: buttons.x - x - Theme.md
        text: root.facts.hint !== "" ? root.facts.hint : root.facts.isNew || root.facts.hasChanges ? "" : "Saved"
        color: root.facts.hint === "" ? Theme.textFaint : root.insists ? Theme.bad : Theme.textSoft
        maximumLineCount: 3
        elide: Text.ElideRight
        wrapMode: Text.WrapAtWordBoundaryOrAnywhere
        Accessible.role: Accessible.AlertMessage
    }
    Row {
        id: buttons
        anchors.right: parent.right
        anchors.rightMargin: root.margin
        anchors.verticalCenter: parent.verticalCenter
        spacing: Theme.sm

        KButton {
            objectName: "discardButton"
            kind: "quiet"
            visible: root.facts.hasChanges
            text: "Discard changes"
            onClicked: root.editor.revert()
        }
        KButton {
            objectName: "saveButton"
            kind: "primary"
            text: root.facts.isNew ? "Save agent" : "Save"
            enabled: root.facts.canSave
            help: enabled ? "Ctrl+S" : root.facts.hint !== "" ? root.facts.hint : "There is nothing to save"
            onClicked: root.saveWanted()
        }
    }
}
