// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// One answer of the prompt card: its label and key, filled with the tint when primary, outlined
// otherwise. A screen reader finds it by its label and reads the key as its description.
Item {
    id: root
    required property PromptCardModel style
    property string label
    property string shortcutLabel
    property bool primary: false
    property color tint: NotchPalette.accent
    signal activated()

    implicitWidth: row.implicitWidth + 2 * style.buttonPaddingH
    implicitHeight: row.implicitHeight + 2 * style.buttonPaddingV
    Accessible.role: Accessible.Button
    Accessible.name: root.label
    Accessible.description: root.shortcutLabel
    Accessible.onPressAction: root.activated()

    Rectangle {
        objectName: "buttonShape"
        anchors.fill: parent
        radius: root.style.buttonCorner
        color: root.primary ? NotchPalette.opacity(root.tint, 0.95) : "transparent"
        border.color: root.style.buttonBorder
        border.width: root.primary ? 0 : 1
    }
    Row {
        id: row
        anchors.centerIn: parent
        spacing: 6
        opacity: mouse.pressed ? root.style.pressedOpacity : 1
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: root.label
            textFormat: Text.PlainText
            color: "white"
            font.pixelSize: root.style.buttonTextSize
            font.weight: Font.DemiBold
            Accessible.ignored: true
        }
        KeyHint {
            anchors.verticalCenter: parent.verticalCenter
            visible: root.shortcutLabel.length > 0
            label: root.shortcutLabel
            Accessible.ignored: true
        }
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: root.activated()
    }
}
