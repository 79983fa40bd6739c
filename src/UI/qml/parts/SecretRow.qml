import QtQuick
import Keelhaven

/// A secret: it can be set, replaced and removed, and is never shown.
Item {
    id: root

    property var secret
    readonly property bool isSet: secret.state === "set"
    property bool editing: false

    objectName: "secret-" + secret.service
    implicitHeight: column.implicitHeight + 2 * Theme.md

    function keep() {
        if (input.text.trim() === "")
            return;
        Settings.setSecret(secret.service, input.text);
        input.clear();
        editing = false;
    }

    Column {
        id: column
        y: Theme.md
        width: parent.width
        spacing: 6

        Item {
            // Narrow places get the name, the state and the buttons below each other.
            readonly property bool stacked: parent.width < 420

            width: parent.width
            height: !stacked ? Theme.control : 44 + (root.isSet && !root.editing ? Theme.control + 6 : 0)

            KText {
                id: name
                height: parent.stacked ? 20 : parent.height
                width: Math.min(implicitWidth, parent.width)
                text: root.secret.label
                Accessible.ignored: true
            }
            Row {
                id: state
                x: parent.stacked ? 0 : name.width + Theme.md
                y: parent.stacked ? 22 : 0
                height: parent.stacked ? 20 : parent.height
                spacing: 5

                KIcon {
                    anchors.verticalCenter: parent.verticalCenter
                    visible: root.isSet
                    size: 14
                    name: "check-circle"
                    color: Theme.good
                }
                KText {
                    anchors.verticalCenter: parent.verticalCenter
                    text: root.secret.text
                    font.pixelSize: Theme.small
                    color: root.isSet ? Theme.good : Theme.textFaint
                }
            }
            Row {
                id: buttons
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                spacing: Theme.sm

                KButton {
                    visible: root.isSet && !root.editing
                    kind: "quiet"
                    text: "Remove"
                    onClicked: remove.ask()
                }
                KButton {
                    visible: root.isSet && !root.editing
                    text: "Replace…"
                    onClicked: {
                        root.editing = true;
                        input.forceActiveFocus();
                    }
                }
            }
        }
        Item {
            width: parent.width
            height: Theme.control
            visible: root.editing || !root.isSet

            KField {
                id: input
                objectName: "secretField-" + root.secret.service
                width: parent.width - save.width - Theme.sm - (cancel.visible ? cancel.width + Theme.sm : 0)
                label: root.secret.label
                placeholder: root.secret.placeholder
                echoMode: TextInput.Password
                inputMethodHints: Qt.ImhHiddenText | Qt.ImhNoPredictiveText | Qt.ImhSensitiveData
                enabled: root.secret.state !== "looking"
                faulty: root.secret.fault !== ""
                onAccepted: root.keep()
            }
            KButton {
                id: cancel
                anchors.right: save.left
                anchors.rightMargin: Theme.sm
                visible: root.editing
                kind: "quiet"
                text: "Cancel"
                onClicked: {
                    input.clear();
                    root.editing = false;
                }
            }
            KButton {
                id: save
                objectName: "secretSave-" + root.secret.service
                anchors.right: parent.right
                text: "Set"
                enabled: input.text.trim() !== ""
                onClicked: root.keep()
            }
        }
        KParagraph {
            width: parent.width
            visible: text !== ""
            text: root.secret.fault
            color: Theme.bad
            font.pixelSize: Theme.small
            Accessible.role: Accessible.AlertMessage
        }
    }
    KDialog {
        id: remove
        title: "Remove this token?"
        text: "Keelhaven forgets it and cannot show it again; you would have to get it anew."
        confirmText: "Remove the token"
        onConfirmed: Settings.removeSecret(root.secret.service)
    }
}
