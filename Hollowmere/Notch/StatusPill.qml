// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A short status ("Installed", "Off") with its symbol, in `color` on a faint capsule of it.
Item {
    id: root
    property string text
    property color color: NotchPalette.accent
    property string systemImage

    implicitWidth: row.implicitWidth + 2 * UIPrimitives.pillPaddingH
    implicitHeight: row.implicitHeight + 2 * UIPrimitives.pillPaddingV
    Accessible.role: Accessible.StaticText
    Accessible.name: root.text

    Rectangle {
        objectName: "pillCapsule"
        anchors.fill: parent
        radius: height / 2
        color: NotchPalette.opacity(root.color, UIPrimitives.pillFillOpacity)
    }
    Row {
        id: row
        anchors.centerIn: parent
        spacing: UIPrimitives.pillSpacing
        Image {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.systemImage.length > 0
            width: UIPrimitives.pillSymbolSize
            height: width
            sourceSize.width: width * 4
            sourceSize.height: height * 4
            source: visible ? UIPrimitives.symbolSource(root.systemImage, root.color) : ""
            Accessible.ignored: true
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            color: root.color
            font.pixelSize: UIPrimitives.pillTextSize
            font.weight: Font.DemiBold
            Accessible.ignored: true
        }
    }
}
