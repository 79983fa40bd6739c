import QtQuick
import Keelhaven

/// A field whose text stands for a value of another form, such as a time: what is typed stays as it is until
/// the field is left, and shows a fault while it means nothing.
KField {
    id: control

    property string value
    /// Takes the typed text; false when it means nothing.
    property var take: text => true

    function reset() {
        text = value;
        faulty = false;
    }
    onTextEdited: faulty = take(text) === false
    onValueChanged: if (!activeFocus) reset()
    onActiveFocusChanged: if (!activeFocus) reset()
    onAccepted: reset()
    Component.onCompleted: reset()

    Connections {
        target: App.agentEditor
        function onLoaded() { control.reset(); }
    }
}
