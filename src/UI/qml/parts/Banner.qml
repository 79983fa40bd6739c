import QtQuick
import Keelhaven

/// A strip over every panel for what all of them must tell.
Rectangle {
    id: root

    property string text
    property string tone: "warn"
    property bool dismissable: false

    signal dismissed()

    implicitHeight: Math.max(36, label.implicitHeight + 16)
    color: Theme.toneSoft(tone)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    KIcon {
        x: Theme.lg
        y: 10
        name: "warning"
        color: Theme.tone(root.tone)
    }
    KParagraph {
        id: label
        anchors.verticalCenter: parent.verticalCenter
        x: Theme.lg + 26
        width: parent.width - x - (close.visible ? 56 : Theme.lg)
        text: root.text
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.ignored: true
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
