// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// The product mark on an accent tile with a soft accent glow.
Item {
    id: root
    property real size: 28
    property real corner: 8

    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    SoftShadow {
        anchors.fill: parent
        color: NotchPalette.opacity(NotchPalette.accent, UIPrimitives.badgeShadowOpacity)
        radius: UIPrimitives.badgeShadowRadius(root.size)
        corner: root.corner
    }
    Rectangle {
        objectName: "badgeTile"
        anchors.fill: parent
        radius: root.corner
        color: NotchPalette.accent
        ClaudeMark {
            anchors.centerIn: parent
            width: UIPrimitives.badgeMarkSize(root.size)
            height: width
            color: "white"
        }
    }
}
