// SPDX-License-Identifier: MIT
import QtQuick

// A small dot breathing in and out (0.9 s each way) while it can be seen and `animating` holds.
Item {
    id: root
    property color color: "white"
    property bool animating: true
    // The animated state: true is large and faint, false small and solid.
    property real pulse: 0

    implicitWidth: 6
    implicitHeight: 6
    Accessible.ignored: true

    Rectangle {
        anchors.centerIn: parent
        width: 6
        height: 6
        radius: 3
        color: root.color
        scale: 0.9 + (1.15 - 0.9) * root.pulse
        opacity: 1.0 - (1.0 - 0.55) * root.pulse
    }

    SequentialAnimation on pulse {
        running: root.visible && root.animating
        loops: Animation.Infinite
        NumberAnimation { from: 0; to: 1; duration: 900; easing.type: Easing.InOutQuad }
        NumberAnimation { from: 1; to: 0; duration: 900; easing.type: Easing.InOutQuad }
        // Stopped, the dot rests in its solid state.
        onRunningChanged: if (!running) root.pulse = 0
    }
}
