import QtQuick
import Keelhaven

Window {
    id: window

    // Not every screen has room for it.
    width: Math.min(1280, Screen.width, Screen.desktopAvailableWidth)
    height: Math.min(800, Screen.height, Screen.desktopAvailableHeight)
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
