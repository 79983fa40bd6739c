import QtQuick
import Keelhaven

// Every control in its states, to be looked at.
Rectangle {
    color: Theme.surface

    Column {
        x: 32
        y: 24
        width: 560
        spacing: 18

        KText { text: "Heading"; font.pixelSize: Theme.heading; font.weight: Font.DemiBold }
        Row {
            spacing: 8
            KButton { text: "Primary"; kind: "primary" }
            KButton { text: "Plain"; iconName: "play" }
            KButton { text: "Quiet"; kind: "quiet"; iconName: "copy" }
            KButton { text: "Danger"; kind: "danger" }
            KButton { text: "Off"; enabled: false }
            KButton { text: "Off"; kind: "primary"; enabled: false }
            KButton { text: "Menu"; trailingIcon: "chevron-down" }
        }
        Row {
            spacing: 8
            KButton { text: "Compact"; compact: true }
            KButton { text: "Compact"; compact: true; kind: "primary"; iconName: "plus" }
            KButton { compact: true; kind: "quiet"; iconName: "more"; help: "More" }
            KButton { iconName: "gear"; help: "Settings" }
        }
        Row {
            spacing: 8
            KField { label: "Name"; placeholder: "Name" }
            KField { label: "Name"; text: "Morning brief" }
            KField { label: "Wrong"; text: "Wrong"; faulty: true; width: 120 }
        }
        Row {
            spacing: 8
            KSelect { label: "Provider"; model: ["Claude", "Codex"] }
            KSelect { label: "Model"; textRole: "label"; model: [{ label: "Claude · default" }, { label: "Claude · opus" }] }
            KSelect { label: "Off"; model: ["Off"]; enabled: false; width: 120 }
        }
        Row {
            spacing: 24
            KSwitch { text: "On"; checked: true }
            KSwitch { text: "Off" }
            KSwitch { text: "Cannot"; enabled: false }
            KSwitch { text: "Cannot"; enabled: false; checked: true }
        }
        KTextArea { width: parent.width; height: 90; label: "Prompt"; placeholder: "What is the agent to do?" }
        KTextArea { width: parent.width; height: 90; label: "Prompt"; text: "Read what changed since yesterday.\nTell me what needs a decision."; monospace: true }
        Row {
            spacing: 8
            KChip { text: "plain" }
            KChip { text: "5 live"; tone: "accent" }
            KChip { text: "done"; tone: "good" }
            KChip { text: "waiting"; tone: "warn"; iconName: "clock" }
            KChip { text: "4 failed"; tone: "bad" }
        }
        KTabBar { model: [{ text: "General" }, { text: "Sources", badge: "2" }, { text: "Misc" }]; currentIndex: 1 }
    }
    Column {
        x: 632
        y: 24
        width: 600
        spacing: 14

        KCallout { width: parent.width; text: "Accent: a sentence that wants to be read, and that may well be long enough to wrap onto a second line." }
        KCallout { width: parent.width; tone: "good"; iconName: "check-circle"; text: "Good: done." }
        KCallout { width: parent.width; tone: "warn"; text: "Warn: with something to do."; KButton { compact: true; text: "Do it" } }
        KCallout { width: parent.width; tone: "bad"; text: "Bad: it failed." }
        KCard {
            width: parent.width
            KLabel { text: "A CARD" }
            KParagraph { width: parent.width; text: "Things that belong together, with a paragraph that wraps once it is wider than the card that it stands in, as this one is." }
            Row {
                spacing: 8
                KButton { text: "One"; compact: true }
                KButton { text: "Other"; compact: true; kind: "quiet" }
            }
        }
        Grid {
            columns: 12
            spacing: 14
            Repeater {
                model: ["agents", "archive", "arrow-left", "arrow-out", "calendar", "check", "check-circle", "chevron-down", "chevron-left", "chevron-right",
                    "clock", "copy", "cross", "cross-circle", "database", "document", "edit", "eye", "eye-off", "filter", "folder", "gear", "hand", "history",
                    "hourglass", "image", "inbox", "info", "keyboard", "more", "pause", "play", "plug", "plus", "question", "refresh", "search", "ship", "skip",
                    "stop", "task", "terminal", "trash", "warning", "working"]
                KIcon { required property string modelData; name: modelData; size: 24; color: Theme.text }
            }
        }
    }
}
