import QtQuick
import Keelhaven

/// What becomes of a session that has finished.
OptionGroup {
    group: 3

    SwitchLine { width: parent.width; key: "closeFinishedTab" }
    SwitchLine { width: parent.width; key: "keepSessionOpen" }
}
