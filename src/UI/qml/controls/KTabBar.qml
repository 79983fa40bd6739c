import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Tabs in a line: `model` is a list of { text, badge, tone }, `currentIndex` the one that is open. Left and
/// right change it.
FocusScope {
    id: root

    property var model: []
    property int currentIndex: 0
    property string label

    signal chosen(int index)

    implicitHeight: 40
    implicitWidth: row.implicitWidth
    activeFocusOnTab: true
    Accessible.role: Accessible.PageTabList
    Accessible.name: label

    function step(by) {
        const next = currentIndex + by;
        if (next >= 0 && next < model.length)
            chosen(next);
    }
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)

    Row {
        id: row
        height: parent.height
        spacing: 20

        Repeater {
            model: root.model

            Item {
                id: tab
                required property var modelData
                required property int index
                readonly property bool isCurrent: root.currentIndex === index

                width: content.implicitWidth
                height: row.height
                Accessible.role: Accessible.PageTab
                Accessible.name: modelData.badge ? modelData.text + ", " + modelData.badge : modelData.text
                Accessible.selected: isCurrent
                Accessible.onPressAction: root.chosen(index)

                Row {
                    id: content
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 6

                    KText {
                        anchors.verticalCenter: parent.verticalCenter
                        text: tab.modelData.text
                        font.weight: tab.isCurrent ? Font.DemiBold : Font.Medium
                        color: tab.isCurrent ? Theme.text : pointer.hovered ? Theme.text : Theme.textSoft
                        Accessible.ignored: true
                    }
                    KChip {
                        anchors.verticalCenter: parent.verticalCenter
                        visible: text !== ""
                        text: tab.modelData.badge || ""
                        tone: tab.modelData.tone || ""
                        Accessible.ignored: true
                    }
                }
                Rectangle {
                    anchors.bottom: parent.bottom
                    width: parent.width
                    height: 2
                    radius: 1
                    color: Theme.accent
                    visible: tab.isCurrent
                }
                KFocus {
                    shown: root.activeFocus && tab.isCurrent && keys.lastByKey
                    anchors.topMargin: 6
                    anchors.bottomMargin: 6
                    anchors.leftMargin: -6
                    anchors.rightMargin: -6
                }
                HoverHandler { id: pointer }
                TapHandler {
                    onTapped: {
                        keys.lastByKey = false;
                        root.forceActiveFocus(Qt.MouseFocusReason);
                        root.chosen(tab.index);
                    }
                }
            }
        }
    }
    QtObject {
        id: keys
        property bool lastByKey: true
    }
    Keys.onPressed: keys.lastByKey = true
    onActiveFocusChanged: if (!activeFocus) keys.lastByKey = true
}
