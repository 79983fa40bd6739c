import QtQuick
import Keelhaven

/// Every so many hours, all day or within a window.
Column {
    id: root

    readonly property var editor: App.agentEditor

    spacing: Theme.md

    function hourText(hour) {
        const half = hour % 24 < 12 ? "am" : "pm";
        return (hour % 12 === 0 ? 12 : hour % 12) + ":00 " + half;
    }

    Row {
        spacing: Theme.sm

        KText { height: Theme.control; text: "Every" }
        NumberField {
            key: "interval"
            label: "Interval"
            least: 1
            most: 24
            unit: Number(value) === 1 ? "hour" : "hours"
        }
    }
    KSwitch {
        text: "Only within a part of the day"
        checked: root.editor.form.hasWindow
        onToggled: {
            root.editor.set("hasWindow", checked);
            checked = Qt.binding(() => root.editor.form.hasWindow);
        }
    }
    Row {
        visible: root.editor.form.hasWindow
        spacing: Theme.sm

        KText { height: Theme.control; text: "From" }
        KSelect {
            width: 104
            label: "From"
            model: Array.from({ length: 24 }, (_, hour) => root.hourText(hour))
            currentIndex: root.editor.form.windowStart
            onActivated: index => {
                root.editor.set("windowStart", index);
                currentIndex = Qt.binding(() => root.editor.form.windowStart);
            }
        }
        KText { height: Theme.control; text: "until" }
        KSelect {
            width: 104
            label: "Until, not included"
            model: Array.from({ length: 24 }, (_, hour) => root.hourText(hour + 1))
            currentIndex: root.editor.form.windowEnd - 1
            onActivated: index => {
                root.editor.set("windowEnd", index + 1);
                currentIndex = Qt.binding(() => root.editor.form.windowEnd - 1);
            }
        }
    }
}
