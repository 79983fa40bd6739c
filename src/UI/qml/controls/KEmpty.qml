import QtQuick
import Keelhaven

/// What an empty place says: one calm sentence.
Column {
    id: root

    property string iconName
    property string text

    spacing: Theme.md

    KIcon {
        anchors.horizontalCenter: parent.horizontalCenter
        name: root.iconName
        size: 28
        color: Theme.textOff
        visible: name !== ""
    }
    KParagraph {
        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(320, root.width)
        horizontalAlignment: Text.AlignHCenter
        text: root.text
        color: Theme.textFaint
    }
}
