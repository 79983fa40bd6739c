import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Asks what closing the window is to mean where no status area can bring it back.
T.Popup {
    id: control

    signal hideWanted()

    objectName: "leaveDialog"
    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: parent ? Math.min(440, parent.width - 48) : 440
    padding: Theme.xl
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape
    onOpened: keep.forceActiveFocus(Qt.TabFocusReason)

    contentItem: Column {
        spacing: Theme.sm
        Accessible.role: Accessible.Dialog
        Accessible.name: title.text

        KParagraph {
            id: title
            width: parent.width
            text: "Keep Keelhaven running?"
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
        }
        KParagraph {
            width: parent.width
            text: "Without its window Keelhaven goes on with its schedule. This desktop shows no status icon; “keelhaven open” in a terminal brings the window back."
            color: Theme.textSoft
        }
        KParagraph {
            width: parent.width
            visible: App.scheduler.liveCount > 0
            text: App.scheduler.liveCount === 1 ? "Quitting ends the run that is live." : "Quitting ends the " + App.scheduler.liveCount + " runs that are live."
            color: Theme.textSoft
        }
        Item { width: 1; height: Theme.sm }
        Row {
            anchors.right: parent.right
            spacing: Theme.sm

            KButton {
                text: "Cancel"
                kind: "quiet"
                onClicked: control.close()
            }
            KButton {
                objectName: "leaveQuit"
                text: "Quit"
                onClicked: {
                    control.close();
                    App.quit();
                }
            }
            KButton {
                id: keep
                objectName: "leaveHide"
                text: "Keep running"
                kind: "primary"
                onClicked: {
                    control.close();
                    control.hideWanted();
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
