// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.HUD

// The HUD's symbol, left of the camera housing.
Item {
    id: root
    property HUDState hud
    readonly property alias model: hudModel

    implicitWidth: hudModel.iconFrame
    implicitHeight: hudModel.iconFrame

    HUDCompactModel {
        id: hudModel
        hud: root.hud
    }

    Image {
        id: icon
        anchors.centerIn: parent
        width: hudModel.iconGlyph
        height: hudModel.iconGlyph
        sourceSize.width: hudModel.iconGlyph * 4
        sourceSize.height: hudModel.iconGlyph * 4
        source: hudModel.symbolSource
        fillMode: Image.PreserveAspectFit
        smooth: true
        mipmap: true

        // Each flash replays a small pop, even for the same kind.
        SequentialAnimation {
            id: pop
            NumberAnimation { target: icon; property: "scale"; to: 1.18; duration: 90; easing.type: Easing.OutQuad }
            SpringAnimation { target: icon; property: "scale"; to: 1; spring: 4; damping: 0.3 }
        }
    }

    Connections {
        target: hudModel
        function onBumpChanged() { pop.restart() }
    }
}
