// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.HUD

// The HUD's level bar and percentage, right of the camera housing.
Item {
    id: root
    property HUDState hud
    property VolumeMonitor volume
    property BrightnessMonitor brightness
    readonly property alias model: hudModel
    readonly property alias bar: segmentedBar

    implicitWidth: row.implicitWidth
    Accessible.role: Accessible.ProgressBar
    Accessible.name: hudModel.accessibleName
    implicitHeight: Math.max(hudModel.barHeight, label.implicitHeight)

    HUDCompactModel {
        id: hudModel
        hud: root.hud
        volume: root.volume
        brightness: root.brightness
    }

    // The bar eases to a new level rather than jumping.
    property real shownValue: hudModel.barValue
    Behavior on shownValue {
        NumberAnimation { duration: hudModel.barAnimationMs; easing.type: Easing.OutCubic }
    }

    Row {
        id: row
        anchors.verticalCenter: parent.verticalCenter
        spacing: hudModel.rowSpacing

        SegmentedBar {
            id: segmentedBar
            anchors.verticalCenter: parent.verticalCenter
            width: hudModel.barWidth
            height: hudModel.barHeight
            value: root.shownValue
            segmentCount: hudModel.segmentCount
            spacing: hudModel.barSpacing
            tint: hudModel.tint
        }

        Text {
            id: label
            anchors.verticalCenter: parent.verticalCenter
            width: hudModel.labelWidth
            horizontalAlignment: Text.AlignRight
            text: hudModel.label
            color: hudModel.labelColor
            font.pixelSize: hudModel.labelPixelSize
            font.bold: true

            // A new number settles in with a critically damped spring.
            onTextChanged: settle.restart()
            SequentialAnimation {
                id: settle
                PropertyAction { target: label; property: "scale"; value: 0.85 }
                SpringAnimation { target: label; property: "scale"; to: 1; spring: 2 * Math.PI / hudModel.labelSpringResponse; damping: 1 }
            }
        }
    }
}
