pragma Singleton
import QtQuick
import Keelhaven

// Everything that has to look alike everywhere: colours, spacing, type and motion. Screens name a token, never
// a number of their own.
QtObject {
    readonly property bool dark: Appearance.dark

    // Surfaces, from the back to the front.
    readonly property color window: dark ? "#171716" : "#f3f2ef"
    readonly property color surface: dark ? "#1c1c1a" : "#fbfaf8"
    readonly property color raised: dark ? "#232321" : "#ffffff"
    readonly property color sunken: dark ? "#141413" : "#f6f5f2"
    readonly property color hover: dark ? "#0dffffff" : "#0a1f1b12"
    readonly property color pressed: dark ? "#17ffffff" : "#141f1b12"
    readonly property color selected: dark ? "#1e303a" : "#e4eef3"
    readonly property color line: dark ? "#2e2d2b" : "#e7e5e0"
    readonly property color lineStrong: dark ? "#5a5853" : "#d0cdc6"
    /// Around what one can type into or press.
    readonly property color edge: dark ? "#42413d" : "#dcd9d2"
    readonly property color scrim: dark ? "#80000000" : "#4d1f1b12"

    // Text.
    readonly property color text: dark ? "#eae8e3" : "#1f1e1b"
    readonly property color textSoft: dark ? "#aaa69e" : "#5f5b54"
    readonly property color textFaint: dark ? "#8b877f" : "#77736b"
    readonly property color textOff: dark ? "#5e5b56" : "#b3afa7"

    // The one accent.
    readonly property color accent: dark ? "#6fb4d6" : "#0e5a80"
    readonly property color accentHover: dark ? "#83c0de" : "#0c4e70"
    readonly property color accentPressed: dark ? "#5ea6c9" : "#0a4361"
    readonly property color accentInk: dark ? "#0d1c24" : "#ffffff"
    readonly property color accentSoft: dark ? "#1d303a" : "#e4eef3"
    readonly property color focus: dark ? "#7fc0e0" : "#2b83ad"

    // States: muted, never the only sign.
    readonly property color good: dark ? "#86bd9b" : "#37774f"
    readonly property color warn: dark ? "#d8a95d" : "#96600d"
    readonly property color bad: dark ? "#e38d82" : "#ab3f33"
    readonly property color goodSoft: dark ? "#1f2c24" : "#e8f1eb"
    readonly property color warnSoft: dark ? "#30281a" : "#f8f0e1"
    readonly property color badSoft: dark ? "#33211f" : "#f9eae8"

    // Space, on a grid of 4.
    readonly property int xs: 4
    readonly property int sm: 8
    readonly property int md: 12
    readonly property int lg: 16
    readonly property int xl: 24
    readonly property int xxl: 32

    readonly property int radiusSmall: 4
    readonly property int radius: 6
    readonly property int radiusLarge: 10

    // Heights.
    readonly property int control: 32
    readonly property int controlSmall: 26
    readonly property int row: 56
    readonly property int rowSmall: 36

    // Type: pixel sizes.
    readonly property int caption: 11
    readonly property int small: 12
    readonly property int body: 13
    readonly property int prose: 14
    readonly property int title: 15
    readonly property int heading: 20
    readonly property int display: 26
    readonly property string family: Appearance.family
    readonly property string mono: Appearance.monospace

    // Motion, in milliseconds.
    readonly property int fast: Appearance.reducedMotion ? 0 : 110
    readonly property int normal: Appearance.reducedMotion ? 0 : 180

    /// The colour of a tone that a view model names.
    function tone(name) {
        switch (name) {
        case "good": return good;
        case "warn": return warn;
        case "bad": return bad;
        case "accent": return accent;
        case "faint": return textFaint;
        default: return textSoft;
        }
    }
    function toneSoft(name) {
        switch (name) {
        case "good": return goodSoft;
        case "warn": return warnSoft;
        case "bad": return badSoft;
        case "accent": return accentSoft;
        default: return sunken;
        }
    }
}
