// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Qt5Compat.GraphicalEffects

// One slot of owner content (expanded, compact leading or trailing). It enters and leaves
// with opacity, a blur and a scale, animated with the surface's latest state animation.
Loader {
    id: slot

    required property var content
    required property int section
    required property NotchSurface surface
    property bool shown: false
    property real hiddenScale: 1
    property real blurRadius: 0
    property real progress: 0

    opacity: progress
    scale: hiddenScale + (1 - hiddenScale) * progress
    visible: progress > 0.001
    layer.enabled: blurRadius > 0 && progress > 0.001 && progress < 0.999
                   && GraphicsInfo.api !== GraphicsInfo.Software
    layer.effect: FastBlur {
        radius: slot.blurRadius * (1 - slot.progress)
        transparentBorder: true
    }

    NumberAnimation {
        id: transition
        target: slot
        property: "progress"
        easing.type: Easing.BezierSpline
    }

    onShownChanged: {
        const curve = surface.stateAnimation
        transition.stop()
        transition.duration = curve.durationMs
        transition.easing.bezierCurve = curve.bezierCurve
        transition.from = progress
        transition.to = shown ? 1 : 0
        transition.start()
    }

    onLoaded: {
        if (content.source.toString() === "") {
            const properties = content.properties
            for (const key in properties) {
                if (key in item)
                    item[key] = properties[key]
            }
        }
        if ("notchSection" in item)
            item.notchSection = section
        if ("notchStyle" in item)
            item.notchStyle = surface.effectiveStyle
        if ("surface" in item)
            item.surface = surface
    }

    Component.onCompleted: {
        progress = shown ? 1 : 0
        if (!content || content.isEmpty)
            return
        if (content.source.toString() !== "")
            setSource(content.source, content.properties)
        else
            sourceComponent = content.component
    }
}
