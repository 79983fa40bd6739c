import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A list that makes only the rows in sight. Up and down move, Return opens, and the context-menu key asks for
/// the row's menu.
ListView {
    id: list

    property string label
    /// The ring is for those who came by keyboard.
    property bool showsFocus: false

    signal opened(int index)
    signal menuWanted(int index)

    clip: true
    // What has the keyboard must not cease to be a stop.
    activeFocusOnTab: count > 0 || activeFocus
    currentIndex: -1
    keyNavigationEnabled: true
    boundsBehavior: Flickable.StopAtBounds
    reuseItems: true
    cacheBuffer: 300
    highlightMoveDuration: 0
    highlightFollowsCurrentItem: true
    pixelAligned: true
    Accessible.role: Accessible.List
    Accessible.name: label
    T.ScrollBar.vertical: KScrollBar {}

    /// Who looks at the newest lines goes on looking at the newest.
    property bool followsBeginning: false

    Connections {
        target: list.model
        ignoreUnknownSignals: true
        function onRowsAboutToBeInserted() { list.followsBeginning = list.atYBeginning; }
        function onRowsInserted() { if (list.followsBeginning) Qt.callLater(list.positionViewAtBeginning); }
    }
    onActiveFocusChanged: if (activeFocus && currentIndex < 0 && count > 0) currentIndex = 0
    Keys.onPressed: event => {
        showsFocus = true;
        switch (event.key) {
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_Space:
            opened(currentIndex);
            break;
        case Qt.Key_F10:
            if (!(event.modifiers & Qt.ShiftModifier))
                return;
            menuWanted(currentIndex);
            break;
        case Qt.Key_Menu:
            menuWanted(currentIndex);
            break;
        case Qt.Key_Home:
            currentIndex = count > 0 ? 0 : -1;
            positionViewAtBeginning();
            break;
        case Qt.Key_End:
            currentIndex = count - 1;
            positionViewAtEnd();
            break;
        case Qt.Key_PageDown:
        case Qt.Key_PageUp: {
            const rows = Math.max(1, Math.floor(height / Theme.row) - 1);
            const next = currentIndex + (event.key === Qt.Key_PageDown ? rows : -rows);
            currentIndex = Math.max(0, Math.min(count - 1, next));
            break;
        }
        default:
            return;
        }
        event.accepted = true;
    }
}
