import QtQuick
import Keelhaven

/// Asks before a live run is stopped.
KDialog {
    property string runID

    function askFor(id, name) {
        runID = id;
        ask();
    }
    title: "Stop this run?"
    text: "Its Herdr pane is closed, and the run is recorded as cancelled."
    confirmText: "Stop the run"
    onConfirmed: App.scheduler.stop(runID)
}
