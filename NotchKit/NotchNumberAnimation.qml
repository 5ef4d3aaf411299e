// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit

// A NumberAnimation that follows one of the notch's curves (a spring or timing curve).
NumberAnimation {
    property var curve
    duration: curve ? curve.durationMs : 0
    easing.type: Easing.BezierSpline
    easing.bezierCurve: curve ? curve.bezierCurve : [0.333, 0.333, 0.667, 0.667, 1, 1]
}
