// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// "working" with its typing dots: the compact trailing side while a session works.
Row {
    id: root
    property color color: NotchPalette.accent
    property string text

    spacing: 4
    Accessible.role: Accessible.StaticText
    Accessible.name: label.text

    Text {
        id: label
        anchors.verticalCenter: parent.verticalCenter
        text: root.text
        color: root.color
        font.pixelSize: 11
        font.weight: Font.DemiBold
        Accessible.ignored: true
    }
    TypingDots {
        anchors.verticalCenter: parent.verticalCenter
        color: root.color
    }
}
