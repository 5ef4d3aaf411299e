// SPDX-License-Identifier: MIT
import QtQuick

// A step's title over its explanation.
Column {
    id: root
    property string title
    property string text
    spacing: 6

    Text {
        width: root.width
        text: root.title
        color: "white"
        font.pixelSize: 24
        font.weight: Font.Bold
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Text {
        width: root.width
        visible: text.length > 0
        text: root.text
        color: Qt.rgba(1, 1, 1, 0.62)
        font.pixelSize: 13
        lineHeight: 1.15
        wrapMode: Text.Wrap
        Accessible.name: text
    }
}
