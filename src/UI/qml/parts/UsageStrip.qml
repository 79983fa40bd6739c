import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// What the accounts behind the agents have left, as a calm strip. Narrow places get the bars alone.
FocusScope {
    id: root

    property bool compact: false
    property int padding: compact ? 14 : 18

    /// A click on the bars alone.
    signal moreWanted()

    implicitHeight: content.implicitHeight + 16
    objectName: "usageStrip"
    Accessible.role: Accessible.Grouping
    Accessible.name: "Usage"

    Watcher { view: Usage }

    Column {
        id: content
        x: root.padding
        y: 8
        width: root.width - 2 * root.padding
        spacing: root.compact ? 6 : 10

        Item {
            width: parent.width
            height: 24
            visible: !root.compact

            KButton {
                id: chooser
                objectName: "usageProvider"
                x: -8
                compact: true
                kind: "quiet"
                text: Usage.provider === "codex" ? "Codex usage" : "Claude usage"
                trailingIcon: "chevron-down"
                onClicked: providers.popup(chooser, 0, height)
            }
            KButton {
                objectName: "usageRefresh"
                anchors.right: parent.right
                anchors.rightMargin: -6
                compact: true
                kind: "quiet"
                iconName: "refresh"
                enabled: !Usage.refreshing
                help: Usage.refreshHelp
                Accessible.name: "Refresh"
                onClicked: Usage.refresh()
            }
        }
        Repeater {
            model: Usage.meters

            UsageMeter {
                required property var modelData

                width: content.width
                meter: modelData
                bare: root.compact
            }
        }
        Repeater {
            model: root.compact ? [] : Usage.notices

            KParagraph {
                id: notice
                required property string modelData

                width: content.width
                text: modelData
                font.pixelSize: Theme.caption
                lineHeight: 1.25
                color: Theme.textFaint
                maximumLineCount: 5
                elide: Text.ElideRight

                HoverHandler { id: over }
                KTooltip {
                    text: notice.text
                    visible: notice.truncated && over.hovered
                }
            }
        }
        KIcon {
            // In a narrow place a notice is a sign with its words behind it.
            visible: root.compact && Usage.notices.length > 0
            anchors.horizontalCenter: parent.horizontalCenter
            size: 14
            name: "info"
            color: Theme.textFaint

            HoverHandler { id: onSign }
            KTooltip {
                text: Usage.notices.join("\n")
                visible: onSign.hovered
            }
        }
    }
    T.AbstractButton {
        id: more
        objectName: "usageMore"
        x: 8
        y: 2
        width: root.width - 16
        height: root.height - 4
        visible: root.compact
        // The bars below have words of their own for the pointer.
        hoverEnabled: false
        focusPolicy: Qt.StrongFocus
        Accessible.role: Accessible.Button
        Accessible.name: "Usage"
        Keys.onReturnPressed: clicked()
        onClicked: root.moreWanted()

        background: Rectangle {
            radius: Theme.radius
            color: pointer.hovered ? Theme.hover : "transparent"
            KFocus { shown: more.visualFocus; gap: 0 }
        }
        HoverHandler { id: pointer }
    }
    KMenu {
        id: providers

        KMenuItem {
            text: "Claude"
            checkable: true
            checked: Usage.provider === "claude"
            onTriggered: Usage.provider = "claude"
        }
        KMenuItem {
            text: "Codex"
            checkable: true
            checked: Usage.provider === "codex"
            onTriggered: Usage.provider = "codex"
        }
    }
}
