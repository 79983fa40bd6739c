import QtQuick
import Keelhaven

Window {
    id: window

    width: 1280
    height: 800
    minimumWidth: 560
    minimumHeight: 360
    visible: true
    title: "Keelhaven"
    color: Theme.window

    Shell {
        anchors.fill: parent
        focus: true
    }

    Connections {
        target: App
        function onRaiseRequested() {
            window.show();
            window.raise();
            window.requestActivate();
        }
    }
}
