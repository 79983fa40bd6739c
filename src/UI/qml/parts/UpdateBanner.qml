import QtQuick
import Keelhaven

/// Tells once that a newer release exists, until it is skipped or downloaded.
Rectangle {
    id: root

    objectName: "updateBanner"
    visible: Setup.updateBanner !== ""
    implicitHeight: visible ? Math.max(44, label.implicitHeight + 20) : 0
    color: Theme.accentSoft
    Accessible.role: Accessible.AlertMessage
    Accessible.name: Setup.updateBanner

    KIcon {
        x: Theme.lg
        anchors.verticalCenter: parent.verticalCenter
        name: "info"
        color: Theme.accent
    }
    KParagraph {
        id: label
        anchors.verticalCenter: parent.verticalCenter
        anchors.verticalCenterOffset: 3
        x: Theme.lg + 26
        width: parent.width - x - buttons.width - Theme.lg - Theme.md
        text: Setup.updateBanner
        maximumLineCount: 3
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    Row {
        id: buttons
        anchors.right: parent.right
        anchors.rightMargin: Theme.md
        anchors.verticalCenter: parent.verticalCenter
        spacing: Theme.sm

        KButton {
            objectName: "skipVersion"
            compact: true
            kind: "quiet"
            text: Setup.skipVersionText
            onClicked: Setup.skipVersion()
        }
        KButton {
            objectName: "downloadUpdate"
            compact: true
            kind: "primary"
            text: Setup.downloadText
            onClicked: Setup.openDownload()
        }
    }
    KLine {
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
