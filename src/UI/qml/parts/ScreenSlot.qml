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
    /// A screen is made when it is first seen, and kept.
    property bool wasSeen: visible
    property bool eager: false
    property alias item: loader.item

    onVisibleChanged: if (visible) wasSeen = true

    Loader {
        id: loader
        anchors.fill: parent
        focus: true
        active: root.isThere && (root.wasSeen || root.eager)
        source: root.file
        // A loader is a focus scope of its own, in which somebody has to want the focus.
        onLoaded: item.focus = true
    }
    KEmpty {
        anchors.centerIn: parent
        width: parent.width - 2 * Theme.xl
        visible: !root.isThere
        iconName: root.iconName
        text: root.sentence
    }
}
