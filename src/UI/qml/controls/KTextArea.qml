import QtQuick
import QtQuick.Templates as T
import Keelhaven

/// Several lines of plain text to type; scrolls within itself. The text is `text`.
FocusScope {
    id: root

    property alias text: area.text
    property alias area: area
    property alias readOnly: area.readOnly
    property string label
    property string placeholder
    property bool faulty: false
    property bool monospace: false
    /// Sees each key before the text does; true keeps it from the text.
    property var filter: null

    signal edited()

    implicitWidth: 320
    implicitHeight: 120

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: Theme.raised
        border.width: area.activeFocus ? 2 : 1
        border.color: area.activeFocus ? Theme.focus : root.faulty ? Theme.bad : Theme.edge
    }
    Flickable {
        id: flick
        anchors.fill: parent
        anchors.margins: 2
        clip: true
        contentWidth: width
        contentHeight: area.implicitHeight
        boundsBehavior: Flickable.StopAtBounds
        flickableDirection: Flickable.VerticalFlick
        T.ScrollBar.vertical: KScrollBar {}

        function reveal(rectangle) {
            if (rectangle.y < contentY)
                contentY = Math.max(0, rectangle.y - 6);
            else if (rectangle.y + rectangle.height > contentY + height)
                contentY = rectangle.y + rectangle.height - height + 6;
        }

        T.TextArea {
            id: area
            width: flick.width
            height: Math.max(implicitHeight, flick.height)
            implicitHeight: contentHeight + topPadding + bottomPadding
            focus: true
            padding: 8
            leftPadding: 10
            rightPadding: 14
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.Wrap
            color: enabled ? Theme.text : Theme.textOff
            selectionColor: Theme.accent
            selectedTextColor: Theme.accentInk
            selectByMouse: true
            font.pixelSize: root.monospace ? Theme.small : Theme.body
            font.family: root.monospace ? Theme.mono : Theme.family
            Accessible.name: root.label !== "" ? root.label : root.placeholder
            Accessible.multiLine: true
            KeyNavigation.priority: KeyNavigation.BeforeItem
            Keys.onPressed: event => {
                if (root.filter && root.filter(event)) {
                    event.accepted = true;
                } else if ((event.key === Qt.Key_Tab || event.key === Qt.Key_Backtab) && !(event.modifiers & Qt.ControlModifier)) {
                    // Tab goes on to the next control, as everywhere.
                    const isForward = event.key === Qt.Key_Tab;
                    area.nextItemInFocusChain(isForward).forceActiveFocus(isForward ? Qt.TabFocusReason : Qt.BacktabFocusReason);
                    event.accepted = true;
                }
            }
            onCursorRectangleChanged: flick.reveal(cursorRectangle)
            onTextChanged: root.edited()
        }
    }
    KText {
        x: 12
        y: 10
        width: parent.width - 24
        visible: area.text === "" && area.preeditText === ""
        text: root.placeholder
        color: Theme.textFaint
        Accessible.ignored: true
    }
}
