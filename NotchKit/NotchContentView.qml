// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Qt5Compat.GraphicalEffects

// The root of a notch panel: the notch or floating layout, under a shadow that follows
// state and hover.
Item {
    id: root

    required property NotchSurface surface
    readonly property alias layout: notchLayout

    NotchLayout {
        id: notchLayout
        objectName: "notchLayout"
        surface: root.surface
        panelWidth: root.width
    }

    Item {
        id: content
        objectName: "notchContent"
        anchors.fill: parent

        property real shadowOpacity: notchLayout.shadowOpacity
        property real shadowRadius: notchLayout.shadowRadius
        Behavior on shadowOpacity { NotchNumberAnimation { curve: notchLayout.hoverAnimation } }
        Behavior on shadowRadius { NotchNumberAnimation { curve: notchLayout.hoverAnimation } }

        layer.enabled: shadowOpacity > 0.001 && GraphicsInfo.api !== GraphicsInfo.Software
        layer.effect: DropShadow {
            radius: content.shadowRadius
            samples: 1 + 2 * Math.ceil(content.shadowRadius)
            color: Qt.rgba(0, 0, 0, content.shadowOpacity)
            horizontalOffset: 0
            verticalOffset: 0
            transparentBorder: true
        }

        Loader {
            anchors.fill: parent
            active: root.surface !== null && notchLayout.usesNotchView
            sourceComponent: NotchView {
                surface: root.surface
                layout: notchLayout
            }
        }
        Loader {
            anchors.fill: parent
            active: root.surface !== null && !notchLayout.usesNotchView
            sourceComponent: NotchlessView {
                surface: root.surface
                layout: notchLayout
            }
        }
    }
}
