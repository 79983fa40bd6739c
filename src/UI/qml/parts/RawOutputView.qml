import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// A terminal's text, line by line; only the lines in sight are laid out.
Rectangle {
    id: root

    property var output
    property bool followsEnd: false
    readonly property int count: list.count

    radius: Theme.radius
    color: Theme.sunken
    border.width: 1
    border.color: list.activeFocus ? Theme.focus : Theme.line

    ListView {
        id: list
        objectName: "rawOutput"
        anchors.fill: parent
        anchors.margins: 12
        clip: true
        reuseItems: true
        activeFocusOnTab: true
        boundsBehavior: Flickable.StopAtBounds
        model: root.output
        Accessible.role: Accessible.List
        Accessible.name: "Raw terminal output"
        T.ScrollBar.vertical: KScrollBar {}
        Keys.onPressed: event => {
            const page = event.key === Qt.Key_PageDown ? height : event.key === Qt.Key_PageUp ? -height : event.key === Qt.Key_Down ? 34 : event.key === Qt.Key_Up ? -34 : 0;
            if (event.key === Qt.Key_Home)
                positionViewAtBeginning();
            else if (event.key === Qt.Key_End)
                positionViewAtEnd();
            else if (page !== 0)
                contentY = Math.max(originY, Math.min(originY + contentHeight - height, contentY + page));
            else
                return;
            isAway = !atYEnd;
            event.accepted = true;
        }
        // A terminal is read from its end, until the reader goes elsewhere in it.
        property bool isAway: false
        property real kept: 0
        function follow() {
            if (!root.followsEnd)
                return;
            if (isAway)
                contentY = Math.max(originY, Math.min(originY + contentHeight - height, kept));
            else
                positionViewAtEnd();
        }
        onCountChanged: {
            isAway = isAway && count > 0;
            Qt.callLater(follow);
        }
        onHeightChanged: Qt.callLater(follow)
        onWidthChanged: Qt.callLater(follow)
        onMovementEnded: isAway = !atYEnd

        Connections {
            target: root.output
            function onModelAboutToBeReset() { list.kept = list.contentY; }
            function onModelReset() { Qt.callLater(list.follow); }
        }
        delegate: Text {
            required property string line

            width: ListView.view.width
            textFormat: Text.PlainText
            text: line
            // A rule over the terminal's whole width stays one line where there is less room.
            wrapMode: Text.WrapAtWordBoundaryOrAnywhere
            maximumLineCount: /^\s*([─━═—_=*-])\1{19,}\s*$/.test(line) ? 1 : 40
            elide: maximumLineCount === 1 ? Text.ElideNone : Text.ElideRight
            clip: maximumLineCount === 1
            color: Theme.text
            font.family: Theme.mono
            font.pixelSize: Theme.small
            lineHeight: 1.3
            Accessible.role: Accessible.ListItem
            Accessible.name: line
            Accessible.ignored: line === ""
        }
    }
    KText {
        anchors.centerIn: parent
        visible: text !== ""
        text: !root.output ? "" : root.output.loading ? "Reading…" : root.output.failed ? "The saved output cannot be read." : ""
        color: Theme.textFaint
    }
}
