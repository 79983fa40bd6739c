import QtQuick

/// Tells a view model while the place it stands in can be seen: `view` has setWatched(bool).
Item {
    id: root

    property var view
    readonly property bool seen: visible && Window.window !== null && Window.window.visible
    property bool told: false

    function tell(seenNow) {
        if (told === seenNow)
            return;
        told = seenNow;
        view.setWatched(seenNow);
    }
    onSeenChanged: if (view) tell(seen)
    Component.onCompleted: tell(seen)
    Component.onDestruction: if (view) tell(false)
}
