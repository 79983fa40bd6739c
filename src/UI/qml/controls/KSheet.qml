import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A large surface over the window, with a title and a way out. Escape closes it.
T.Popup {
    id: control

    property string title
    default property alias body: holder.data

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: parent ? Math.min(880, parent.width - 48) : 880
    height: parent ? Math.min(680, parent.height - 48) : 680
    padding: 0
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape

    contentItem: FocusScope {
        focus: true
        Accessible.role: Accessible.Dialog
        Accessible.name: control.title

        KText {
            x: Theme.xl
            height: 56
            width: parent.width - 2 * Theme.xl - 40
            text: control.title
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        KButton {
            anchors.right: parent.right
            anchors.rightMargin: Theme.md
            y: 12
            kind: "quiet"
            iconName: "cross"
            help: "Close"
            onClicked: control.close()
        }
        KLine { y: 56; width: parent.width }
        FocusScope {
            id: holder
            y: 57
            width: parent.width
            height: parent.height - 57
            focus: true
        }
    }
    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.surface
        border.color: Theme.lineStrong
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.normal }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; to: 0; duration: Theme.fast }
    }
}
