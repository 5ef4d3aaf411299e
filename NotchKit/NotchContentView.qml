// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit

// The root of a notch panel: the notch or floating layout, each casting a shadow that follows
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

        Loader {
            anchors.fill: parent
            active: root.surface !== null && notchLayout.usesNotchView
            sourceComponent: NotchView {
                surface: root.surface
                layout: notchLayout
                shadowOpacity: content.shadowOpacity
                shadowRadius: content.shadowRadius
            }
        }
        Loader {
            anchors.fill: parent
            active: root.surface !== null && !notchLayout.usesNotchView
            sourceComponent: NotchlessView {
                surface: root.surface
                layout: notchLayout
                shadowOpacity: content.shadowOpacity
                shadowRadius: content.shadowRadius
            }
        }
    }
}
