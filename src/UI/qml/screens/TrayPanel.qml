import QtQuick
import Keelhaven

/// The panel behind the icon of the status area: a window of its own, gone when the user looks elsewhere.
Window {
    id: panel

    property double hiddenAt: 0

    width: 320
    // Many live runs make it taller than a small screen.
    height: Math.min(body.implicitHeight, Screen.height - 64)
    flags: Qt.Tool | Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    color: "transparent"
    title: "Keelhaven"
    transientParent: null

    /// Shows it beside a point of the screen, the upper right corner where none is known; a second click on the
    /// icon puts it away.
    function toggle(atX, atY) {
        // The click took the focus away first, which has hidden the panel already.
        if (visible || Date.now() - hiddenAt < 250) {
            hide();
            return;
        }
        const edge = 8;
        const known = atX !== 0 || atY !== 0;
        const left = Screen.virtualX + edge;
        const right = Screen.virtualX + Screen.width - width - edge;
        const top = Screen.virtualY + edge;
        const bottom = Screen.virtualY + Screen.height - height - edge;
        x = Math.max(left, Math.min(right, known ? atX - width / 2 : right));
        y = Math.max(top, Math.min(bottom, !known ? top + 32 : atY > Screen.virtualY + Screen.height / 2 ? atY - height - 12 : atY + 12));
        show();
        raise();
        requestActivate();
        body.forceActiveFocus();
    }
    onVisibleChanged: if (!visible) hiddenAt = Date.now()
    onActiveChanged: if (!active) hide()

    Rectangle {
        anchors.fill: parent
        radius: Theme.radiusLarge
        color: Theme.surface
        border.width: 1
        border.color: Theme.lineStrong
    }
    KPage {
        anchors.fill: parent
        label: "Glance"
        contentHeight: body.implicitHeight
        focus: true

        GlancePanel {
            id: body
            width: panel.width
            focus: true
            onDone: panel.hide()
        }
    }
}
