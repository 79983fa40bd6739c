import QtQuick
import Keelhaven

/// What belongs to the application as a whole.
KMenu {
    id: root

    signal acknowledgementsWanted()

    KMenuItem {
        text: "Settings…"
        iconName: "gear"
        onTriggered: App.showsSettings = true
    }
    KMenuItem {
        text: "Check for Updates…"
        iconName: "refresh"
        enabled: Setup.canCheckUpdates
        help: Setup.canCheckUpdates ? "" : "This build was not told where releases are announced"
        onTriggered: {
            Settings.page = "misc";
            App.showsSettings = true;
            Setup.checkUpdates();
        }
    }
    KMenuItem {
        text: "Acknowledgements…"
        iconName: "info"
        onTriggered: root.acknowledgementsWanted()
    }
}
