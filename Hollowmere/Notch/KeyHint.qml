// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A key or key combination ("A", "⌥A"), drawn as a small keycap.
Rectangle {
    id: root
    property string label

    implicitWidth: text.implicitWidth + 2 * UIPrimitives.keyHintPaddingH
    implicitHeight: text.implicitHeight + 2 * UIPrimitives.keyHintPaddingV
    radius: UIPrimitives.keyHintCorner
    color: UIPrimitives.keyHintFill
    border.color: UIPrimitives.keyHintBorder
    border.width: UIPrimitives.keyHintBorderWidth
    Accessible.role: Accessible.StaticText
    Accessible.name: root.label

    Text {
        id: text
        anchors.centerIn: parent
        text: root.label
        color: UIPrimitives.keyHintText
        font.pixelSize: UIPrimitives.keyHintTextSize
        font.weight: Font.DemiBold
        Accessible.ignored: true
    }
}
