import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The usage strip with all its words, for windows that have no room for it.
T.Popup {
    id: control

    objectName: "usagePopover"
    width: 264
    height: implicitContentHeight + topPadding + bottomPadding
    padding: 4
    margins: 8
    focus: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside

    contentItem: UsageStrip { focus: true }
    background: Rectangle {
        radius: Theme.radiusLarge
        color: Theme.surface
        border.color: Theme.lineStrong
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.fast }
    }
}
