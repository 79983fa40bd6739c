import QtQuick
import Keelhaven

/// A separator.
Rectangle {
    property bool vertical: false

    implicitWidth: vertical ? 1 : 100
    implicitHeight: vertical ? 100 : 1
    color: Theme.line
}
