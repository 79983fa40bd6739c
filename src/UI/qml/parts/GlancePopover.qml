import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The panel of the status area, inside the window, for desktops that have no such area.
T.Popup {
    id: control

    objectName: "glancePopover"
    width: 320
    height: Math.min(implicitContentHeight, T.Overlay.overlay ? T.Overlay.overlay.height - 16 : 600)
    padding: 0
    margins: 8
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside

    contentItem: KPage {
        implicitWidth: 320
        implicitHeight: panel.implicitHeight
        contentHeight: panel.implicitHeight
        label: "Glance"

        GlancePanel {
            id: panel
            width: parent.width
            focus: true
            showsShortcuts: false
            onDone: control.close()
        }
    }
    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.surface
        border.color: Theme.lineStrong
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.fast }
    }
}
