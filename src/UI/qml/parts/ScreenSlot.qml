import QtQuick
import Keelhaven

/// A place for a screen that has a file of its own: "{name}.qml" in qml/screens. Where this build has none it
/// shows `sentence`.
FocusScope {
    id: root

    property string name
    property string sentence
    property string iconName
    readonly property url file: App.screen(name)
    readonly property bool isThere: file.toString() !== ""
    property alias item: loader.item

    Loader {
        id: loader
        anchors.fill: parent
        focus: true
        active: root.isThere
        source: root.file
    }
    KEmpty {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: !root.isThere
        iconName: root.iconName
        text: root.sentence
    }
}
