import QtQuick
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
    KPage {
        id: page
        objectName: "boardPage"
        y: 64
        width: parent.width
        height: parent.height - y
        focus: true
        label: "Board"
        contentHeight: column.implicitHeight + 2 * Theme.xl

        Column {
            id: column
            x: Math.max(Theme.xl, (page.width - width) / 2)
            y: Theme.xl
            width: Math.min(report.visible && report.isWide ? 1160 : 760, page.width - 2 * Theme.xl)
            spacing: Theme.xl

            Loader {
                anchors.horizontalCenter: parent.horizontalCenter
                width: Math.min(760, parent.width)
                active: Setup.wanted
                visible: active
                sourceComponent: SetupCard {}
            }
            MorningReport {
                id: report
                width: parent.width
                room: page.width - 2 * Theme.xl
                // While the first set-up stands open, a report that cannot be there yet is only noise.
                visible: !Setup.wanted || Sweep.runID !== "" || Sweep.state !== ""
            }
        }
    }
}
