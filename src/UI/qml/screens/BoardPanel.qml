import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// The first panel: what is left to set up, and what the last sweep said.
FocusScope {
    id: root

    objectName: "boardPanel"

    KText {
        x: Theme.xl
        y: 18
        text: "Board"
        font.pixelSize: Theme.heading
        font.weight: Font.DemiBold
        Accessible.role: Accessible.Heading
    }
    KLine {
        y: 63
        width: parent.width
    }
    Flickable {
        id: flick
        y: 64
        width: parent.width
        height: parent.height - y
        clip: true
        contentWidth: width
        contentHeight: column.implicitHeight + 2 * Theme.xl
        boundsBehavior: Flickable.StopAtBounds
        T.ScrollBar.vertical: KScrollBar {}

        Column {
            id: column
            x: Math.max(Theme.xl, (flick.width - width) / 2)
            y: Theme.xl
            width: Math.min(760, flick.width - 2 * Theme.xl)
            spacing: Theme.xl

            Loader {
                width: parent.width
                active: Setup.wanted
                visible: active
                sourceComponent: SetupCard { width: column.width }
            }
            MorningReport {
                width: parent.width
                // While the first set-up stands open, a report that cannot be there yet is only noise.
                visible: !Setup.wanted || Sweep.runID !== "" || Sweep.state !== ""
            }
        }
    }
}
