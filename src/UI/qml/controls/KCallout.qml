import QtQuick
import Keelhaven

/// A sentence that wants to be read: `tone` is "", "accent", "good", "warn" or "bad". Children stand below it.
Rectangle {
    id: root

    property string text
    property string tone: "accent"
    property string iconName: tone === "bad" || tone === "warn" ? "warning" : "info"
    default property alias actions: extra.data

    implicitHeight: column.implicitHeight + 20
    implicitWidth: 320
    radius: Theme.radius
    color: Theme.toneSoft(tone)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    KIcon {
        x: 12
        y: 12
        name: root.iconName
        color: Theme.tone(root.tone)
    }
    Column {
        id: column
        x: 38
        // A paragraph has its leading below the line.
        y: 12
        width: parent.width - x - 12
        spacing: 8

        KParagraph {
            width: parent.width
            text: root.text
            maximumLineCount: 12
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        Row {
            id: extra
            spacing: 8
            visible: children.length > 0
        }
    }
}
