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

    // With a status icon the window goes out of sight; without one the user says what closing means.
    onClosing: close => {
        if (Glance.hasTray)
            return;
        close.accepted = false;
        leave.open();
    }
    LeaveDialog {
        id: leave
        onHideWanted: window.hide()
    }
    property var trayPanel: null
    Connections {
        target: Glance
        function onPanelWanted(x, y) {
            if (!window.trayPanel)
                window.trayPanel = Qt.createComponent(App.screen("TrayPanel")).createObject(null);
            window.trayPanel.toggle(x, y);
        }
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
