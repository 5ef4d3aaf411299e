// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// The product mark in one colour, stretched to its frame.
Item {
    id: root
    property color color: "white"

    implicitWidth: 16
    implicitHeight: 16
    Accessible.ignored: true

    Image {
        anchors.fill: parent
        source: UIPrimitives.claudeMarkSource(root.color)
        sourceSize.width: Math.ceil(root.width * 4)
        sourceSize.height: Math.ceil(root.height * 4)
        fillMode: Image.Stretch
        smooth: true
        mipmap: true
    }
}
