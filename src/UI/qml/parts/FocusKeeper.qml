import QtQuick

/// Gives the keyboard back to where it was in `place` once a menu, a question or a sheet has closed: what closes
/// leaves it nowhere, and the next key would go nowhere too.
QtObject {
    id: root

    required property Item place
    readonly property Item focused: place.Window.activeFocusItem
    property Item last: null
    property bool hadRing: false

    function isInPlace(item) {
        for (let each = item; each; each = each.parent) {
            if (each === place)
                return true;
        }
        return false;
    }
    function note() {
        hadRing = last !== null && last.visualFocus === true;
    }
    function giveBack() {
        const window = place.Window.window;
        if (!window || !window.active || focused && focused !== window.contentItem)
            return;
        const isThere = last && last.visible && last.enabled && isInPlace(last);
        (isThere ? last : place).forceActiveFocus(hadRing ? Qt.TabFocusReason : Qt.OtherFocusReason);
    }
    onFocusedChanged: {
        if (focused && isInPlace(focused)) {
            last = focused;
            Qt.callLater(note);
        } else {
            Qt.callLater(giveBack);
        }
    }
}
