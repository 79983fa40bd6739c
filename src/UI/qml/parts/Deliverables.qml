import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The files that a run made, each with its picture. A click opens one.
Flow {
    id: root

    property var files: []

    signal opened(string path)

    readonly property int columns: Math.max(1, Math.floor((width + spacing) / (164 + spacing)))

    spacing: Theme.md

    Repeater {
        model: root.files

        T.AbstractButton {
            id: file
            required property var modelData

            width: Math.floor((root.width - (root.columns - 1) * root.spacing) / root.columns)
            implicitHeight: 150
            hoverEnabled: true
            focusPolicy: Qt.StrongFocus
            Accessible.name: modelData.caption !== "" ? modelData.name + ", " + modelData.caption : modelData.name
            Keys.onReturnPressed: clicked()
            onClicked: root.opened(modelData.path)

            background: Rectangle {
                radius: Theme.radius
                color: file.down ? Theme.pressed : file.hovered ? Theme.hover : Theme.raised
                border.width: 1
                border.color: file.hovered ? Theme.lineStrong : Theme.line
                KFocus { shown: file.visualFocus }
            }
            contentItem: Item {
                Rectangle {
                    x: 1
                    y: 1
                    width: parent.width - 2
                    height: 98
                    radius: Theme.radius - 1
                    color: Theme.sunken
                    clip: true

                    KIcon {
                        anchors.centerIn: parent
                        size: 28
                        visible: picture.status !== Image.Ready
                        color: Theme.textOff
                        name: file.modelData.kind === "image" || file.modelData.kind === "video" ? "image" : "document"
                    }
                    Image {
                        id: picture
                        anchors.fill: parent
                        anchors.margins: 4
                        // A white picture glares among dark ones.
                        opacity: Theme.dark && !file.hovered ? 0.7 : 1
                        source: file.modelData.thumbnail
                        fillMode: Image.PreserveAspectCrop
                        asynchronous: true
                        sourceSize.width: 336
                        smooth: true
                    }
                }
                KLine { y: 99; width: parent.width }
                KText {
                    x: 10
                    y: 106
                    width: parent.width - 20
                    text: file.modelData.name
                    font.weight: Font.Medium
                    elide: Text.ElideMiddle
                    Accessible.ignored: true
                }
                KText {
                    x: 10
                    y: 125
                    width: parent.width - 20
                    text: file.modelData.caption !== "" ? file.modelData.caption : file.modelData.size
                    color: Theme.textFaint
                    font.pixelSize: Theme.small
                    Accessible.ignored: true
                }
            }
            KTooltip {
                text: file.modelData.path
                visible: file.hovered
            }
        }
    }
}
