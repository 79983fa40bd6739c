import QtQuick
import Keelhaven

/// What a prompt would not find when the agent runs, and what can be done about it.
Rectangle {
    id: root

    property var notice: ({})

    signal addWanted()
    signal enableWanted()

    implicitHeight: column.implicitHeight + 14
    radius: Theme.radius
    color: Theme.warnSoft
    Accessible.role: Accessible.AlertMessage
    Accessible.name: notice.text

    Column {
        id: column
        x: 12
        y: 9
        width: parent.width - 24
        spacing: 6

        KParagraph {
            width: parent.width
            text: root.notice.text
            Accessible.ignored: true
        }
        Flow {
            width: parent.width
            spacing: Theme.sm
            visible: !!root.notice.addLabel || !!root.notice.enableLabel

            KButton {
                compact: true
                visible: text !== ""
                text: root.notice.addLabel || ""
                onClicked: root.addWanted()
            }
            KButton {
                compact: true
                visible: text !== ""
                width: Math.min(implicitWidth, column.width)
                text: root.notice.enableLabel || ""
                enabled: root.notice.canEnable === true
                help: root.notice.enableHelp || ""
                onClicked: root.enableWanted()
            }
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: root.notice.help || ""
            font.pixelSize: Theme.small
            color: Theme.textFaint
        }
    }
}
