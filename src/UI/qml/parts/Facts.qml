import QtQuick
import Keelhaven

/// Names and values below each other. `rows` holds objects with "label", "value" and "isCode".
Column {
    id: root

    property var rows: []

    spacing: 10

    Repeater {
        model: root.rows

        Item {
            id: fact
            required property var modelData

            width: root.width
            implicitHeight: Math.max(label.implicitHeight, value.implicitHeight)
            Accessible.role: Accessible.StaticText
            Accessible.name: modelData.label + ": " + modelData.value

            KText {
                id: label
                width: 92
                text: fact.modelData.label
                color: Theme.textFaint
                Accessible.ignored: true
            }
            KParagraph {
                id: value
                x: 104
                width: parent.width - x
                text: fact.modelData.value
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                horizontalAlignment: Text.AlignLeft
                maximumLineCount: 8
                elide: Text.ElideRight
                font.family: fact.modelData.isCode ? Theme.mono : Theme.family
                font.pixelSize: fact.modelData.isCode ? Theme.small : Theme.body
                Accessible.ignored: true
            }
        }
    }
}
