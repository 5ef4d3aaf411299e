// SPDX-License-Identifier: MIT
import QtQuick

// A blurred rounded-rectangle shadow drawn as a few nested, fading outlines: cheap, static and the
// same on every renderer (a layer effect would cost an offscreen pass and draws nothing with the
// software renderer). Place it under the shape it belongs to, filling the shape's bounds.
Item {
    id: root
    property color color: "black"
    property real radius: 6
    property real corner: 8
    property real offsetX: 0
    property real offsetY: 0
    readonly property int steps: 8

    Accessible.ignored: true

    Repeater {
        model: root.radius > 0 && root.color.a > 0 ? root.steps : 0
        Rectangle {
            required property int index
            readonly property real grow: root.radius * (index + 1) / root.steps
            x: root.offsetX - grow
            y: root.offsetY - grow
            width: root.width + 2 * grow
            height: root.height + 2 * grow
            radius: root.corner + grow
            // Layers add up to the shadow's own opacity where they all overlap.
            color: Qt.rgba(root.color.r, root.color.g, root.color.b,
                           1 - Math.pow(1 - root.color.a, 1 / root.steps))
        }
    }
}
