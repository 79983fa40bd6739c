import QtQuick
import Keelhaven

/// The settings, page by page.
FocusScope {
    id: root

    objectName: "settingsSheet"
    property bool showsSetup: false
    readonly property bool narrow: width < 700

    // The secret store may ask the user to unlock it, so it is asked only where secrets stand.
    function look() {
        if (App.showsSettings && Settings.page === "integrations")
            Settings.lookAtSecrets();
        flick.contentY = 0;
    }
    Connections {
        target: Settings
        function onPageChanged() { root.look(); }
    }
    Connections {
        target: App
        function onShowsSettingsChanged() { root.look(); }
    }
    Component.onCompleted: look()

    // Round only where the sheet is.
    Rectangle {
        x: 1
        width: pages.width - 1
        height: parent.height - 1
        radius: Theme.radiusLarge - 1
        color: Theme.window

        Rectangle {
            width: parent.width
            height: parent.height / 2
            color: parent.color
        }
        Rectangle {
            x: parent.width / 2
            width: parent.width / 2
            height: parent.height
            color: parent.color
        }
    }
    KList {
        id: pages
        objectName: "settingsPages"
        width: root.narrow ? 136 : 232
        height: parent.height
        topMargin: Theme.sm
        label: "Pages"
        focus: true
        model: Settings.pages
        currentIndex: Settings.pages.findIndex(page => page.id === Settings.page)
        onCurrentIndexChanged: {
            const page = Settings.pages[currentIndex];
            if (page && page.id !== Settings.page)
                Settings.page = page.id;
        }
        onOpened: content.forceActiveFocus(Qt.TabFocusReason)

        delegate: KRow {
            id: entry
            required property var modelData
            required property int index

            width: ListView.view.width
            height: root.narrow ? 40 : 58
            separated: false
            selected: Settings.page === modelData.id
            Accessible.name: modelData.title + ": " + modelData.subtitle
            Accessible.role: Accessible.PageTab
            onClicked: {
                pages.showsFocus = false;
                pages.currentIndex = index;
            }

            KText {
                y: root.narrow ? (entry.height - height) / 2 : 11
                width: parent.width
                text: entry.modelData.title
                font.weight: Font.DemiBold
                Accessible.ignored: true
            }
            KText {
                y: 30
                width: parent.width
                visible: !root.narrow
                text: entry.modelData.subtitle
                font.pixelSize: Theme.caption
                color: Theme.textSoft
                Accessible.ignored: true
            }
        }
    }
    KLine {
        x: pages.width
        vertical: true
        height: parent.height
    }

    component Heading: KLabel {
        height: 20
        font.capitalization: Font.AllUppercase
        verticalAlignment: Text.AlignBottom
    }
    component Card: Rectangle {
        default property alias lines: lines.data

        width: parent ? parent.width : 0
        implicitHeight: lines.implicitHeight + 8
        radius: Theme.radiusLarge
        color: Theme.raised
        border.width: 1
        border.color: Theme.line

        Column {
            id: lines
            x: Theme.lg
            y: 4
            width: parent.width - 2 * Theme.lg
        }
    }

    KPage {
        id: flick
        objectName: "settingsContent"
        x: pages.width + 1
        width: parent.width - x
        height: parent.height
        label: "Page"
        activeFocusOnTab: false
        contentHeight: content.implicitHeight + 2 * Theme.xl

        FocusScope {
            id: content
            x: root.narrow ? Theme.lg : Theme.xl
            y: x
            width: flick.width - 2 * x
            implicitHeight: column.implicitHeight

            Column {
                id: column
                width: parent.width
                spacing: Theme.sm

                // The checklist stays within reach after the first start.
                Heading { text: "Setup"; visible: Settings.page === "general" }
                Card {
                    visible: Settings.page === "general"

                    Item { width: 1; height: Theme.sm }
                    Item {
                        width: parent.width
                        height: Theme.control

                        KIcon {
                            anchors.verticalCenter: parent.verticalCenter
                            name: Setup.allPassed ? "check-circle" : "info"
                            color: Setup.allPassed ? Theme.good : Theme.textSoft
                        }
                        KText {
                            x: 26
                            height: parent.height
                            width: parent.width - x - toggle.width - Theme.md
                            text: Setup.allPassed ? "Everything is in place" : Setup.title
                        }
                        KButton {
                            id: toggle
                            objectName: "showSetup"
                            anchors.right: parent.right
                            text: root.showsSetup ? "Hide checklist" : "Show checklist"
                            onClicked: {
                                root.showsSetup = !root.showsSetup;
                                if (root.showsSetup)
                                    Setup.check();
                            }
                        }
                    }
                    Item {
                        width: parent.width
                        height: checklist.active ? checklist.height + Theme.md : 0
                        visible: checklist.active

                        Loader {
                            id: checklist
                            y: Theme.md
                            width: parent.width
                            active: root.showsSetup && Settings.page === "general"
                            sourceComponent: SetupCard { showsTitle: false }
                        }
                    }
                    Item { width: 1; height: Theme.sm }
                }
                Item { width: 1; height: Theme.sm; visible: Settings.page === "general" }

                Repeater {
                    model: Settings.sections(Settings.page)

                    Column {
                        id: section
                        required property var modelData
                        required property int index

                        width: column.width
                        spacing: Theme.sm

                        Loader {
                            width: parent.width
                            active: section.modelData.title === "Notifications"
                            visible: active
                            sourceComponent: Column {
                                spacing: Theme.sm
                                Heading { text: "Updates" }
                                Card { UpdatesCard { width: parent.width } }
                                Item { width: 1; height: Theme.sm }
                            }
                        }
                        Heading { text: section.modelData.title }
                        Card {
                            Loader {
                                width: parent.width
                                active: section.modelData.title === "Herdr"
                                visible: active
                                sourceComponent: Column {
                                    HerdrCard { width: parent.width }
                                    KLine { width: parent.width }
                                }
                            }
                            Repeater {
                                model: section.modelData.rows

                                Column {
                                    id: line
                                    required property var modelData
                                    required property int index

                                    width: parent.width
                                    KLine {
                                        width: parent.width
                                        visible: line.index > 0 && line.modelData.onlyWith === ""
                                            && line.modelData.label !== ""
                                    }
                                    SettingRow {
                                        width: parent.width
                                        row: line.modelData
                                    }
                                }
                            }
                            Repeater {
                                // A number, so that what is being typed outlives a change of another secret.
                                model: Settings.page === "integrations" ? Settings.secrets.length : 0

                                Column {
                                    id: secretLine
                                    required property int index

                                    width: parent.width
                                    visible: Settings.secrets[index].section === section.modelData.title
                                    KLine { width: parent.width }
                                    SecretRow {
                                        width: parent.width
                                        secret: Settings.secrets[secretLine.index]
                                    }
                                }
                            }
                        }
                        Item { width: 1; height: Theme.sm }
                    }
                }
                KEmpty {
                    width: parent.width
                    visible: Settings.page === "sources"
                    topPadding: 80
                    iconName: "folder"
                    text: "Sources and tokens are stored by the project analysis service. Start it to connect GitHub, Bitbucket, or local clones."
                }
            }
        }
    }
}
