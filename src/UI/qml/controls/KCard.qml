import QtQuick
import Keelhaven

/// A quiet surface around things that belong together; its children stand below each other.
Rectangle {
    id: root

    property int padding: Theme.lg
    property alias spacing: column.spacing
    default property alias content: column.data

    implicitWidth: 320
    implicitHeight: column.implicitHeight + 2 * padding
    radius: Theme.radiusLarge
    color: Theme.raised
    border.width: 1
    border.color: Theme.line

    Column {
        id: column
        x: root.padding
        y: root.padding
        width: root.width - 2 * root.padding
        spacing: Theme.sm
    }
}
