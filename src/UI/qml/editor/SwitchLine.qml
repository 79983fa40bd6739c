import QtQuick
import Keelhaven

/// A field that is on or off, with what it means beside it.
Item {
    id: root

    property string key
    property string label: App.agentEditor.fields[key].label
    property string help: App.agentEditor.fields[key].help
    property bool available: true
    property string unavailableHelp
    property alias toggle: toggle

    implicitWidth: 320
    implicitHeight: Math.max(24, texts.implicitHeight)

    function change(on) {
        App.agentEditor.set(key, on);
    }

    Column {
        id: texts
        width: parent.width - 50
        spacing: 2

        KText {
            width: parent.width
            text: root.label
            color: root.available ? Theme.text : Theme.textOff
            Accessible.ignored: true
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: root.help
            font.pixelSize: Theme.small
            color: Theme.textFaint
            Accessible.ignored: true
        }
    }
    KSwitch {
        id: toggle
        anchors.right: parent.right
        y: -2
        label: root.label
        help: root.available ? "" : root.unavailableHelp
        enabled: root.available
        checked: App.agentEditor.form[root.key]
        Accessible.description: root.help
        onToggled: {
            root.change(checked);
            checked = Qt.binding(() => App.agentEditor.form[root.key]);
        }
    }
    TapHandler {
        enabled: root.available
        onTapped: root.change(!App.agentEditor.form[root.key])
    }
}
