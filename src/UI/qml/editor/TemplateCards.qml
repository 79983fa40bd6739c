import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// What a new agent may start from.
Column {
    id: root

    spacing: Theme.sm

    KLabel { text: "START FROM A TEMPLATE" }

    Grid {
        id: grid
        readonly property int card: (root.width - (columns - 1) * columnSpacing) / columns

        columns: root.width >= 440 ? 2 : 1
        columnSpacing: Theme.sm
        rowSpacing: Theme.sm

        Repeater {
            model: App.agentEditor.templates

            T.RadioButton {
                id: card
                required property var modelData
                readonly property bool isChosen: App.agentEditor.templateID === modelData.id

                objectName: "template-" + modelData.id
                width: grid.card
                height: 68
                hoverEnabled: true
                focusPolicy: Qt.StrongFocus
                Accessible.name: modelData.name
                Accessible.description: modelData.prompt
                autoExclusive: false
                checked: isChosen
                onToggled: checked = Qt.binding(() => isChosen)
                Keys.onReturnPressed: clicked()
                onClicked: App.agentEditor.startFrom(isChosen ? "" : modelData.id)

                contentItem: Item {
                    KText {
                        x: 12
                        y: 9
                        width: parent.width - 24 - (check.visible ? 20 : 0)
                        text: card.modelData.name
                        font.weight: Font.DemiBold
                        Accessible.ignored: true
                    }
                    KIcon {
                        id: check
                        anchors.right: parent.right
                        anchors.rightMargin: 12
                        y: 10
                        visible: card.isChosen
                        name: "check"
                        color: Theme.accent
                    }
                    KParagraph {
                        x: 12
                        y: 29
                        width: parent.width - 24
                        text: card.modelData.prompt
                        font.pixelSize: Theme.small
                        lineHeight: 1.2
                        color: Theme.textFaint
                        maximumLineCount: 2
                        elide: Text.ElideRight
                        Accessible.ignored: true
                    }
                }
                background: Rectangle {
                    radius: Theme.radius
                    color: card.isChosen ? Theme.accentSoft : card.down ? Theme.pressed : card.hovered ? Theme.hover : "transparent"
                    border.width: 1
                    border.color: card.isChosen ? Theme.accent : card.hovered ? Theme.lineStrong : Theme.line

                    KFocus { shown: card.visualFocus }
                }
            }
        }
    }
}
