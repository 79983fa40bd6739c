import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Fields that stand closed until they are wanted; closed, a line says what is set in them.
Column {
    id: root

    property int group: 0
    property bool isOpen: false
    default property alias content: body.data
    readonly property var summary: App.agentEditor.facts.summaries[group]

    T.AbstractButton {
        id: header
        objectName: "group-" + root.group
        width: parent.width
        height: 46
        hoverEnabled: true
        focusPolicy: Qt.StrongFocus
        Accessible.role: Accessible.Button
        Accessible.name: root.summary.label + (root.isOpen ? "" : ": " + root.summary.text)
        Accessible.checkable: true
        Accessible.checked: root.isOpen
        Keys.onReturnPressed: clicked()
        onClicked: root.isOpen = !root.isOpen

        contentItem: Item {
            KIcon {
                x: 2
                anchors.verticalCenter: parent.verticalCenter
                size: 14
                name: root.isOpen ? "chevron-down" : "chevron-right"
                color: header.hovered ? Theme.text : Theme.textFaint
            }
            KText {
                id: title
                x: 26
                height: parent.height
                text: root.summary.label
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            KText {
                anchors.right: parent.right
                anchors.rightMargin: 4
                width: Math.min(implicitWidth, parent.width - title.x - title.width - 28)
                height: parent.height
                visible: !root.isOpen
                text: root.summary.text
                color: Theme.textFaint
                Accessible.ignored: true
            }
        }
        background: Rectangle {
            anchors.fill: parent
            anchors.leftMargin: -6
            anchors.rightMargin: -6
            anchors.topMargin: 3
            anchors.bottomMargin: 3
            radius: Theme.radius
            color: header.down ? Theme.pressed : header.hovered ? Theme.hover : "transparent"
            KFocus { shown: header.visualFocus; gap: 0 }
        }
    }
    Column {
        id: body
        x: 26
        width: parent.width - 26
        visible: root.isOpen
        topPadding: 4
        bottomPadding: Theme.lg
        spacing: Theme.lg
    }
    KLine { width: parent.width }
}
