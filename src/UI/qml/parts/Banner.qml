import QtQuick
import Keelhaven

/// A strip over every panel for what all of them must tell.
Rectangle {
    id: root

    property string text
    property string detail
    property string tone: "warn"
    property bool dismissable: false

    signal dismissed()

    implicitHeight: Math.max(36, label.implicitHeight + (detail !== "" ? 20 : 0) + 16)
    color: Theme.toneSoft(tone)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    Accessible.description: detail

    KIcon {
        x: Theme.lg
        y: 10
        name: "warning"
        color: Theme.tone(root.tone)
    }
    KParagraph {
        id: label
        y: 8
        x: Theme.lg + 26
        width: parent.width - x - (close.visible ? 56 : Theme.lg)
        text: root.text
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    KText {
        x: label.x
        y: label.y + label.implicitHeight + 2
        width: label.width
        visible: text !== ""
        text: root.detail
        font.pixelSize: Theme.small
        color: Theme.textFaint
    }
    KButton {
        id: close
        anchors.right: parent.right
        anchors.rightMargin: Theme.sm
        anchors.verticalCenter: parent.verticalCenter
        visible: root.dismissable
        kind: "quiet"
        compact: true
        iconName: "cross"
        help: "Dismiss"
        onClicked: root.dismissed()
    }
    KLine {
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
