import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Asks before something is done that cannot be taken back. Cancel has the focus, so that Return alone never
/// destroys anything.
T.Popup {
    id: control

    property string title
    property string text
    property string confirmText
    property bool danger: true

    signal confirmed()

    function ask() {
        open();
        cancel.forceActiveFocus(Qt.TabFocusReason);
    }

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: parent ? Math.min(420, parent.width - 48) : 420
    height: implicitContentHeight + topPadding + bottomPadding
    padding: Theme.xl
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape

    contentItem: Column {
        spacing: Theme.sm
        Accessible.role: Accessible.Dialog
        Accessible.name: control.title
        Accessible.description: control.text

        KParagraph {
            width: parent.width
            text: control.title
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            maximumLineCount: 3
            elide: Text.ElideRight
        }
        KParagraph {
            width: parent.width
            text: control.text
            color: Theme.textSoft
            maximumLineCount: 8
            elide: Text.ElideRight
        }
        Item { width: 1; height: Theme.sm }
        Row {
            anchors.right: parent.right
            spacing: Theme.sm

            KButton {
                id: cancel
                text: "Cancel"
                onClicked: control.close()
            }
            KButton {
                text: control.confirmText
                kind: control.danger ? "danger" : "primary"
                width: Math.min(implicitWidth, 260)
                onClicked: {
                    control.close();
                    control.confirmed();
                }
            }
        }
    }
    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.raised
        border.color: Theme.lineStrong
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.fast }
    }
}
