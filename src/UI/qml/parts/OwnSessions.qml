import QtQuick
import Keelhaven

/// Whether the sessions that the user starts by hand are followed too.
Item {
    id: root

    objectName: "ownSessions"
    implicitHeight: column.implicitHeight

    Column {
        id: column
        width: parent.width
        spacing: Theme.sm

        Item {
            width: parent.width
            height: Math.max(24, words.implicitHeight)

            Column {
                id: words
                width: parent.width - toggle.width - Theme.lg
                spacing: 2

                KText {
                    width: parent.width
                    text: "Follow my own sessions"
                    font.weight: Font.DemiBold
                }
                KParagraph {
                    width: parent.width
                    text: Plugins.trackingText
                    font.pixelSize: Theme.small
                    color: Theme.textSoft
                }
            }
            KSwitch {
                id: toggle
                objectName: "ownSessionsSwitch"
                anchors.right: parent.right
                label: "Follow my own sessions"
                help: Plugins.trackingBlocked
                enabled: Plugins.trackingBlocked === ""
                checked: Plugins.tracking
                onToggled: {
                    Plugins.setTracking(checked);
                    // What is found afterwards decides, not what was asked for.
                    checked = Qt.binding(() => Plugins.tracking);
                }
            }
        }
        KCallout {
            objectName: "claudeMissing"
            width: parent.width
            visible: Plugins.claudeMissing
            tone: "warn"
            text: "No “claude” was found on your login shell's PATH, so nothing can be switched from here. What is installed is still read from its files."
        }
        Rectangle {
            objectName: "ownSessionsOutput"
            width: parent.width
            height: output.implicitHeight + 2 * Theme.sm
            visible: Plugins.trackingOutput !== ""
            radius: Theme.radius
            color: Theme.sunken

            KParagraph {
                id: output
                x: Theme.md
                y: Theme.sm
                width: parent.width - 2 * Theme.md
                text: Plugins.trackingOutput
                font.family: Theme.mono
                font.pixelSize: Theme.small
                color: Theme.textSoft
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                maximumLineCount: 4
                elide: Text.ElideRight
                Accessible.name: "claude printed: " + text
            }
        }
    }
}
