import QtQuick
import Keelhaven

/// Which version this is, and whether there is a newer one.
Item {
    id: root

    objectName: "updatesCard"
    implicitHeight: column.implicitHeight + 2 * Theme.md

    Timer {
        interval: 60000
        repeat: true
        running: root.visible
        triggeredOnStart: true
        onTriggered: Setup.refreshTimes()
    }
    Column {
        id: column
        y: Theme.md
        width: parent.width
        spacing: 6

        Item {
            width: parent.width
            height: Theme.control

            KText {
                height: parent.height
                width: parent.width - check.width - Theme.md
                text: Setup.updateTitle
                font.weight: Font.Medium
            }
            KButton {
                id: check
                objectName: "checkUpdates"
                anchors.right: parent.right
                text: Setup.updateCheckText
                enabled: !Setup.updateChecking && Setup.canCheckUpdates
                help: Setup.canCheckUpdates ? "" : "This build was not told where releases are announced"
                onClicked: Setup.checkUpdates()
            }
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: Setup.updateBanner !== "" ? Setup.updateBanner : Setup.updateLatest
            color: Setup.updateBanner !== "" ? Theme.text : Theme.good
        }
        Row {
            visible: Setup.updateBanner !== ""
            spacing: Theme.sm

            KButton {
                text: Setup.downloadText
                kind: "primary"
                onClicked: Setup.openDownload()
            }
            KButton {
                text: Setup.skipVersionText
                kind: "quiet"
                onClicked: Setup.skipVersion()
            }
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: Setup.updateError
            color: Theme.bad
            font.pixelSize: Theme.small
        }
        KParagraph {
            width: parent.width
            text: Setup.updateCaption
            color: Theme.textSoft
            font.pixelSize: Theme.small
        }
    }
}
