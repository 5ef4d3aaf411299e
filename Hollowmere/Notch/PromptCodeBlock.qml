// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// Numbered lines with their markers ("$", "−", "+") on the code fill, scrolling past the
// maximum height.
Rectangle {
    id: root
    required property PromptCardModel style
    property var lines: []

    implicitHeight: Math.min(list.contentHeight + 2 * style.codePadding, style.codeMaxHeight)
    radius: style.codeCorner
    color: NotchPalette.codeFill
    border.color: NotchPalette.codeStroke
    border.width: 1
    Accessible.role: Accessible.StaticText
    Accessible.name: root.lines.map(l => l.marker + " " + l.text).join("\n")

    ListView {
        id: list
        objectName: "codeLines"
        anchors.fill: parent
        anchors.margins: root.style.codePadding
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: root.lines
        delegate: Rectangle {
            required property var modelData
            width: ListView.view.width
            height: Math.max(number.implicitHeight, code.implicitHeight) + 2 * root.style.linePaddingV
            color: modelData.tint
            Accessible.ignored: true
            Text {
                id: number
                x: root.style.linePaddingH
                y: root.style.linePaddingV
                width: root.style.lineNumberWidth
                text: modelData.lineNumber
                color: root.style.lineNumberColor
                font.pixelSize: root.style.lineNumberSize
                font.family: root.style.codeFontFamily
            }
            Text {
                id: marker
                objectName: "marker"
                x: number.x + root.style.lineNumberWidth
                y: root.style.linePaddingV
                width: 14
                text: modelData.marker
                color: modelData.markerColor
                font.pixelSize: root.style.markerSize
                font.bold: true
                font.family: root.style.codeFontFamily
            }
            Text {
                id: code
                x: marker.x + marker.width
                y: root.style.linePaddingV
                width: parent.width - x - root.style.linePaddingH
                text: modelData.text
                color: modelData.textColor
                wrapMode: Text.WrapAnywhere
                textFormat: Text.PlainText
                font.pixelSize: root.style.codeTextSize
                font.family: root.style.codeFontFamily
            }
        }
    }
}
