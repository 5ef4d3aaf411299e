// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A system symbol in one colour, drawn sharp at any scale.
Image {
    id: root
    property string name
    property color color: "white"
    property real size: 14

    width: size
    height: size
    sourceSize.width: size * 4
    sourceSize.height: size * 4
    fillMode: Image.PreserveAspectFit
    smooth: true
    mipmap: true
    source: name.length > 0 ? UIPrimitives.symbolSource(name, color) : ""
    Accessible.ignored: true
}
