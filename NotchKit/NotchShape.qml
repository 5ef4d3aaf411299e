// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import QtQuick.Shapes

// The notch outline filled solid; its radii animate with whoever binds them.
Shape {
    id: shape

    required property NotchLayout layout
    property real topCornerRadius: 0
    property real bottomCornerRadius: 0
    property color color: "black"

    // Smooth curved edges where the scene graph renders with a GPU.
    layer.enabled: GraphicsInfo.api !== GraphicsInfo.Software
    layer.samples: 4
    antialiasing: true

    ShapePath {
        fillColor: shape.color
        strokeWidth: -1
        strokeColor: "transparent"
        PathSvg {
            path: shape.layout.outlinePath(shape.width, shape.height, shape.topCornerRadius,
                                           shape.bottomCornerRadius)
        }
    }
}
