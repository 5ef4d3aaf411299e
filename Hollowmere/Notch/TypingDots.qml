// SPDX-License-Identifier: MIT
import QtQuick

// Three dots, one lit at a time, stepping every 0.35 s while they can be seen.
Row {
    id: root
    property color color: "white"
    property int phase: 0

    spacing: 2
    Accessible.ignored: true

    Repeater {
        model: 3
        Rectangle {
            required property int index
            anchors.verticalCenter: parent.verticalCenter
            width: 3
            height: 3
            radius: 1.5
            color: root.color
            opacity: index === root.phase ? 1.0 : 0.3
        }
    }

    Timer {
        interval: 350
        repeat: true
        running: root.visible
        onTriggered: root.phase = (root.phase + 1) % 3
    }
}
