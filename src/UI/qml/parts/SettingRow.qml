import QtQuick
import Keelhaven

/// One row of the settings sheet: `row` is what Settings.sections gives. What is changed is stored at once.
Item {
    id: root

    property var row
    readonly property var value: { Settings.revision; return Settings.value(row.key); }
    readonly property string caption: { Settings.revision; return Settings.caption(row.key); }
    readonly property bool matters: { Settings.revision; return Settings.matters(row.onlyWith); }
    readonly property bool isSwitch: row.control === "switch"
    readonly property bool isField: row.control === "text" || row.control === "folder" || row.control === "file"
    readonly property bool besides: !isField
    readonly property string title: row.label !== "" ? row.label : row.control === "stepper" ? caption : ""
    property string fault

    function store(wanted) {
        fault = isField && row.control !== "text" ? Settings.setPath(row.key, wanted) : Settings.set(row.key, wanted);
    }

    objectName: "setting-" + row.key
    implicitHeight: column.implicitHeight + 2 * Theme.md
    opacity: matters ? 1 : 0.55

    Column {
        id: column
        y: Theme.md
        width: parent.width
        spacing: 6

        Item {
            readonly property bool stacked: root.besides && parent.width - control.width < 160

            width: parent.width
            height: stacked ? words.implicitHeight + 6 + control.height : Math.max(words.implicitHeight, root.besides ? control.height : 0)
            visible: root.title !== "" || root.besides

            KParagraph {
                id: words
                y: parent.stacked ? 0 : (parent.height - implicitHeight) / 2
                width: parent.width - (root.besides && !parent.stacked ? control.width + Theme.lg : 0)
                text: root.title
                lineHeight: 1.2
                Accessible.ignored: true
            }
            Loader {
                id: control
                anchors.right: parent.right
                y: parent.stacked ? parent.height - height : (parent.height - height) / 2
                active: root.besides
                sourceComponent: root.isSwitch ? flag : root.row.control === "stepper" ? stepper : root.row.control === "model" ? model : choice
            }
        }
        Loader {
            width: parent.width
            active: root.isField
            visible: active
            sourceComponent: field
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: root.fault
            color: Theme.bad
            font.pixelSize: Theme.small
            Accessible.role: Accessible.AlertMessage
        }
        KParagraph {
            width: Math.min(parent.width, 520)
            visible: text !== ""
            text: root.row.help
            font.pixelSize: Theme.small
            color: Theme.textSoft
        }
    }

    Component {
        id: flag
        KSwitch {
            label: root.title
            checked: root.value === true
            enabled: root.matters
            onToggled: root.store(checked)
        }
    }
    Component {
        id: stepper
        KStepper {
            label: root.title
            least: root.row.least
            most: root.row.most
            step: root.row.step
            value: root.value
            text: root.row.label !== "" ? root.caption : String(root.value)
            enabled: root.matters
            onChanged: wanted => root.store(wanted)
        }
    }
    Component {
        id: model
        KSelect {
            implicitWidth: 240
            label: root.title
            model: Settings.models
            textRole: "text"
            currentIndex: Settings.modelIndex
            onActivated: index => Settings.chooseModel(index)
        }
    }
    Component {
        id: choice
        KSelect {
            implicitWidth: 160
            label: root.title
            model: ["Automatic"].concat(root.row.choices)
            currentIndex: Math.max(0, root.row.choices.indexOf(root.value) + 1)
            onActivated: index => root.store(index === 0 ? "" : root.row.choices[index - 1])
        }
    }
    Component {
        id: field
        Item {
            implicitHeight: Theme.control

            KField {
                id: input
                objectName: "field-" + root.row.key
                width: parent.width - (choose.visible ? choose.width + Theme.sm : 0)
                label: root.title
                placeholder: root.row.placeholder
                text: root.value
                faulty: root.fault !== ""
                enabled: root.matters
                onEditingFinished: if (text !== root.value) root.store(text)

                // What was stored elsewhere shows here; what is being typed stays.
                Connections {
                    target: root
                    function onValueChanged() {
                        if (root.fault === "")
                            input.text = root.value;
                    }
                }
            }
            KButton {
                id: choose
                anchors.right: parent.right
                visible: root.row.control !== "text"
                text: "Choose…"
                onClicked: chooser.open()
            }
            Chooser {
                id: chooser
                objectName: "chooser-" + root.row.key
                wantsFile: root.row.control === "file"
                onChosen: url => root.store(url)
            }
        }
    }
}
