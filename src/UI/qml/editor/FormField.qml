import QtQuick
import Keelhaven

/// A field of the form: its name, the control, and below it what helps.
Column {
    id: root

    property string label
    property string help
    default property alias content: body.data

    spacing: 6

    KText {
        width: parent.width
        visible: text !== ""
        text: root.label
        font.pixelSize: Theme.small
        font.weight: Font.DemiBold
        color: Theme.textSoft
        Accessible.ignored: true
    }
    Column {
        id: body
        width: parent.width
        spacing: 6
    }
    KParagraph {
        width: parent.width
        visible: text !== ""
        text: root.help
        font.pixelSize: Theme.small
        color: Theme.textFaint
    }
}
