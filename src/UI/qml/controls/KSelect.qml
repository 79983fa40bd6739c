import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// One of several: a list that opens. `model` is a list of texts, or of objects with `textRole`.
T.ComboBox {
    id: control

    property string label

    implicitHeight: Theme.control
    implicitWidth: 180
    leftPadding: 10
    rightPadding: 28
    hoverEnabled: true
    font.family: Theme.family
    font.pixelSize: Theme.body
    Accessible.name: label

    contentItem: KText {
        text: control.displayText
        color: control.enabled ? Theme.text : Theme.textOff
        Accessible.ignored: true
    }
    indicator: KIcon {
        x: control.width - 22
        y: (control.height - height) / 2
        size: 12
        name: "chevron-down"
        color: control.enabled ? Theme.textSoft : Theme.textOff
    }
    background: Rectangle {
        radius: Theme.radius
        color: control.down ? Theme.pressed : Theme.raised
        border.width: 1
        border.color: !control.enabled ? Theme.line : control.hovered ? Theme.lineStrong : Theme.edge

        KFocus { shown: control.visualFocus }
    }
    delegate: T.ItemDelegate {
        id: option
        required property int index
        required property var modelData

        width: ListView.view ? ListView.view.width : control.width
        height: 30
        highlighted: control.highlightedIndex === index
        text: control.textRole !== "" ? modelData[control.textRole] : modelData
        Accessible.name: text

        contentItem: KText {
            leftPadding: 22
            text: option.text
            Accessible.ignored: true
        }
        KIcon {
            x: 8
            anchors.verticalCenter: parent.verticalCenter
            size: 14
            name: control.currentIndex === option.index ? "check" : ""
            color: Theme.accent
        }
        background: Rectangle {
            radius: Theme.radiusSmall
            color: option.highlighted ? Theme.selected : "transparent"
        }
    }
    popup: T.Popup {
        y: control.height + 4
        width: Math.max(control.width, 180)
        implicitHeight: Math.min(contentItem.implicitHeight + 8, 320)
        margins: 8
        padding: 4

        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: control.delegateModel
            currentIndex: control.highlightedIndex
            T.ScrollBar.vertical: KScrollBar {}
        }
        background: Rectangle {
            radius: Theme.radius + 2
            color: Theme.raised
            border.color: Theme.lineStrong
        }
    }
}
