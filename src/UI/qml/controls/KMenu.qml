import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A menu of KMenuItems.
T.Menu {
    id: control

    implicitWidth: Math.max(200, contentItem.implicitWidth + leftPadding + rightPadding)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    margins: 8
    padding: 4
    overlap: 1
    delegate: KMenuItem {}

    contentItem: ListView {
        implicitHeight: contentHeight
        implicitWidth: {
            let widest = 0;
            for (let i = 0; i < control.count; ++i)
                widest = Math.max(widest, control.itemAt(i).implicitWidth);
            return Math.min(420, widest);
        }
        model: control.contentModel
        interactive: contentHeight > height
        clip: true
        currentIndex: control.currentIndex
        keyNavigationEnabled: true
    }
    background: Rectangle {
        radius: Theme.radius + 2
        color: Theme.raised
        border.color: Theme.lineStrong
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.fast }
    }
}
