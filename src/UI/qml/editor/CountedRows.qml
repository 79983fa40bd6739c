import QtQuick

/// So many rows for a Repeater. A row stays the same item while their number changes, so that the field that
/// is typed into keeps the focus.
ListModel {
    id: rows

    property int wanted: 0

    function adapt() {
        while (rows.count < wanted)
            rows.append({ "row": rows.count });
        while (rows.count > wanted)
            rows.remove(rows.count - 1);
    }
    onWantedChanged: adapt()
    Component.onCompleted: adapt()
}
