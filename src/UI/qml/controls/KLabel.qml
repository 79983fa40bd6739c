import QtQuick
import Keelhaven

/// The small heading over a group: "WHAT IT REPORTED".
KText {
    color: Theme.textFaint
    font.pixelSize: Theme.caption
    font.weight: Font.DemiBold
    font.letterSpacing: 0.6
    Accessible.role: Accessible.Heading
}
