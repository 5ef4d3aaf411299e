// SPDX-License-Identifier: MIT
import QtQuick
import Qt5Compat.GraphicalEffects

// A soft black shadow around a rounded rectangle (the item's own bounds). Its blur is one fixed
// shader with the radius as a parameter, so animating the radius costs nothing; a blurred layer
// (DropShadow) would bake and keep a new shader for every radius an animation passes through.
RectangularGlow {
    property real shadowOpacity: 0
    property real shapeRadius: 0

    // The software renderer has no shader effects.
    visible: glowRadius > 0 && shadowOpacity > 0.001 && GraphicsInfo.api !== GraphicsInfo.Software
    color: Qt.rgba(0, 0, 0, shadowOpacity)
    cornerRadius: Math.max(shapeRadius, glowRadius)
}
