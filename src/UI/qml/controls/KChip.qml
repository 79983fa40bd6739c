import QtQuick
import Keelhaven

/// A word or a count in a soft pill.
Rectangle {
    id: root

    property string text
    property string tone
    property string iconName

    implicitHeight: 18
    implicitWidth: content.implicitWidth + 12
    radius: 9
    color: Theme.toneSoft(tone)
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Row {
        id: content
        anchors.centerIn: parent
        spacing: 4

        KIcon {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.iconName !== ""
            name: root.iconName
            size: 12
            color: Theme.tone(root.tone)
        }
        KText {
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font.pixelSize: Theme.caption
            font.weight: Font.DemiBold
            color: Theme.tone(root.tone)
            Accessible.ignored: true
        }
    }
}
