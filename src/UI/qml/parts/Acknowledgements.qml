import QtQuick
import Keelhaven

/// The works of others that this one is built on.
KSheet {
    id: root

    title: "Acknowledgements"
    width: parent ? Math.min(560, parent.width - 48) : 560
    height: parent ? Math.min(460, parent.height - 48) : 460

    ListView {
        anchors.fill: parent
        anchors.margins: Theme.xl
        clip: true
        focus: true
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: root.title
        model: Setup.acknowledgements
        delegate: Item {
            required property var modelData

            width: ListView.view.width
            height: 52
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData.name + ", " + modelData.use + ". " + modelData.license

            KText {
                width: parent.width - license.width - Theme.md
                text: modelData.name
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            KText {
                id: license
                anchors.right: parent.right
                text: modelData.license
                font.pixelSize: Theme.small
                color: Theme.textSoft
                Accessible.ignored: true
            }
            KText {
                y: 20
                width: parent.width
                text: modelData.use
                color: Theme.textSoft
                Accessible.ignored: true
            }
        }
    }
}
