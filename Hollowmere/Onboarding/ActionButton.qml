// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Basic as Basic
import Hollowmere.Notch

// A button of the app's windows: the accent-filled primary action, a quiet secondary one, or a
// destructive one in red. Its accessible name is its label.
Basic.Button {
    id: root
    enum Kind { Primary, Secondary, Destructive }
    property int kind: ActionButton.Kind.Secondary
    property string symbol

    readonly property color fill: kind === ActionButton.Kind.Primary ? NotchPalette.accent
                                : kind === ActionButton.Kind.Destructive ? NotchPalette.red
                                : NotchPalette.opacity("white", 0.10)

    implicitHeight: 32
    leftPadding: 14
    rightPadding: 14
    font.pixelSize: 13
    font.weight: Font.DemiBold
    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    contentItem: Row {
        spacing: 6
        Symbol {
            visible: root.symbol.length > 0
            name: root.symbol
            size: 12
            color: labelText.color
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            id: labelText
            text: root.text
            font: root.font
            color: root.enabled ? "white" : NotchPalette.mutedText
            anchors.verticalCenter: parent.verticalCenter
            Accessible.ignored: true
        }
    }
    background: Rectangle {
        radius: 8
        color: !root.enabled ? NotchPalette.opacity("white", 0.06)
               : root.down ? Qt.darker(root.fill, 1.25)
               : root.hovered ? Qt.lighter(root.fill, 1.12) : root.fill
        border.width: root.visualFocus ? 2 : 0
        border.color: NotchPalette.opacity("white", 0.6)
    }
}
