// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.HUD

// The compact HUD as it sits around the camera housing: symbol left, bar and percentage right.
Rectangle {
    id: root
    property HUDState hud
    property VolumeMonitor volume
    property BrightnessMonitor brightness

    width: 320
    height: 44
    color: "#3a4450"

    Rectangle {
        id: notch
        anchors.horizontalCenter: parent.horizontalCenter
        width: 300
        height: 32
        color: "black"
        radius: 10
        // Square top corners: the shape hangs from the top edge of the screen.
        Rectangle { width: parent.width; height: parent.radius; color: "black" }

        HUDCompactLeading {
            hud: root.hud
            x: 14
            anchors.verticalCenter: parent.verticalCenter
        }
        HUDCompactTrailing {
            hud: root.hud
            volume: root.volume
            brightness: root.brightness
            x: parent.width - 14 - width
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
