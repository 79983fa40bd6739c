import QtQuick
import Keelhaven

/// A whole number of the form: typed, or stepped with the arrow keys and the two buttons.
Row {
    id: root

    property string key
    property string label: spec ? spec.label : ""
    property string unit
    property string placeholder
    readonly property var spec: App.agentEditor.fields[key]
    property int least: spec ? spec.least : 1
    property int most: spec ? spec.most : 24
    property int step: spec ? spec.step : 1
    /// Where stepping begins in an empty field.
    property int start: least
    property alias field: field

    readonly property string value: String(App.agentEditor.form[key])

    spacing: 4

    function stepBy(by) {
        const number = value === "" ? start : Number(value) + by;
        App.agentEditor.set(key, String(Math.max(least, Math.min(most, number))));
        field.reset();
    }

    TypedField {
        id: field
        width: root.placeholder !== "" ? 128 : 72
        label: root.unit !== "" ? root.label + ", " + root.unit : root.label
        placeholder: root.placeholder
        value: root.value
        inputMethodHints: Qt.ImhDigitsOnly
        maximumLength: 6
        take: text => App.agentEditor.set(root.key, text)
        Accessible.role: Accessible.SpinBox
        Keys.onUpPressed: root.stepBy(root.step)
        Keys.onDownPressed: root.stepBy(-root.step)
    }
    KButton {
        kind: "quiet"
        iconName: "minus"
        help: "Less"
        focusPolicy: Qt.NoFocus
        enabled: root.value !== "" && Number(root.value) > root.least
        Accessible.name: "Less: " + root.label
        onClicked: root.stepBy(-root.step)
    }
    KButton {
        kind: "quiet"
        iconName: "plus"
        help: "More"
        focusPolicy: Qt.NoFocus
        enabled: root.value === "" || Number(root.value) < root.most
        Accessible.name: "More: " + root.label
        onClicked: root.stepBy(root.step)
    }
    KText {
        height: parent.height
        leftPadding: 4
        text: root.unit
        color: Theme.textSoft
        Accessible.ignored: true
    }
}
