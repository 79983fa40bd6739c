import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// What a control does, or why it is off, after the pointer has rested on it.
T.ToolTip {
    id: control

    delay: 500
    x: parent ? (parent.width - implicitWidth) / 2 : 0
    y: -implicitHeight - 6
    margins: 8
    padding: 8
    leftPadding: 10
    rightPadding: 10
    implicitWidth: Math.min(320, metrics.advanceWidth + leftPadding + rightPadding + 2)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutsideParent | T.Popup.CloseOnReleaseOutsideParent

    TextMetrics {
        id: metrics
        text: control.text.slice(0, 120)
        font.pixelSize: Theme.small
    }
    contentItem: KParagraph {
        text: control.text
        font.pixelSize: Theme.small
        maximumLineCount: 8
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: Theme.radius
        color: Theme.raised
        border.color: Theme.lineStrong
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.fast }
    }
}
