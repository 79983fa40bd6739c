import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A separator in a KMenu.
T.MenuSeparator {
    implicitHeight: 9
    implicitWidth: 160
    contentItem: Item {
        KLine {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
        }
    }
}
