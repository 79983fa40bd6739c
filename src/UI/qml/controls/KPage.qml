import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A page taller than its place: scrolls by wheel and by keys, and keeps what the keyboard is on in sight.
Flickable {
    id: page

    property string label

    clip: true
    contentWidth: width
    boundsBehavior: Flickable.StopAtBounds
    flickableDirection: Flickable.VerticalFlick
    // What has the keyboard must not cease to be a stop.
    activeFocusOnTab: contentHeight > height || activeFocus
    T.ScrollBar.vertical: KScrollBar {}
    Accessible.role: Accessible.Pane
    Accessible.name: label

    function scrollTo(y) {
        contentY = Math.max(0, Math.min(contentHeight - height, y));
    }
    function reveal(item) {
        const margin = Math.min(40, height / 4);
        const top = item.mapToItem(contentItem, 0, 0).y;
        const bottom = top + item.height;
        // Of what is taller than the page the beginning counts.
        if (top - margin < contentY || item.height + 2 * margin > height && top > contentY + height / 2)
            scrollTo(top - margin);
        else if (bottom + margin > contentY + height && item.height + 2 * margin <= height)
            scrollTo(bottom + margin - height);
    }

    readonly property Item focused: Window.activeFocusItem
    onFocusedChanged: {
        for (let each = focused ? focused.parent : null; each; each = each.parent) {
            if (each === contentItem) {
                reveal(focused);
                return;
            }
        }
    }
    Keys.onPressed: event => {
        const step = event.key === Qt.Key_Down ? 60 : event.key === Qt.Key_Up ? -60
            : event.key === Qt.Key_PageDown ? height - 60 : event.key === Qt.Key_PageUp ? 60 - height
            : event.key === Qt.Key_End ? contentHeight : event.key === Qt.Key_Home ? -contentHeight : 0;
        if (step === 0 || contentHeight <= height)
            return;
        scrollTo(contentY + step);
        event.accepted = true;
    }
}
