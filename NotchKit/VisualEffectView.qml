// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit

// The material behind floating content: a dark HUD-like fill with a faint sheen on top.
Rectangle {
    id: effect
    property color material: "#f2161618"
    color: material
    gradient: Gradient {
        GradientStop { position: 0; color: Qt.lighter(effect.material, 1.35) }
        GradientStop { position: 0.35; color: effect.material }
        GradientStop { position: 1; color: effect.material }
    }
}
