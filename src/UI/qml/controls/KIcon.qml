import QtQuick
import Keelhaven

/// One of the application's own line icons, in any colour. Decoration: what it means is said in words beside it.
Image {
    property string name
    property color color: Theme.textSoft
    property int size: 16

    width: size
    height: size
    sourceSize.width: size
    sourceSize.height: size
    source: name === "" ? "" : "image://keelhaven/" + name + "/" + String(color).slice(1)
    asynchronous: false
    Accessible.ignored: true
}
