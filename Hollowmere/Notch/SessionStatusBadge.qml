// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A session's status as a symbol on a rounded tile.
Item {
    id: root
    property string symbol
    property color symbolColor: "white"
    property color fill: "transparent"
    property color shadowColor: "transparent"
    property real shadowRadius: 0
    property real shadowOffsetY: 0
    property real size: 28
    property real corner: 8
    property int symbolSize: 12

    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    SoftShadow {
        anchors.fill: parent
        color: root.shadowColor
        radius: root.shadowRadius
        corner: root.corner
        offsetY: root.shadowOffsetY
    }
    Rectangle {
        objectName: "badgeFill"
        anchors.fill: parent
        radius: root.corner
        color: root.fill
    }
    Image {
        anchors.centerIn: parent
        width: root.symbolSize
        height: root.symbolSize
        sourceSize.width: root.symbolSize * 4
        sourceSize.height: root.symbolSize * 4
        source: root.symbol.length > 0 ? UIPrimitives.symbolSource(root.symbol, root.symbolColor) : ""
        fillMode: Image.PreserveAspectFit
        smooth: true
        mipmap: true
    }
}
