// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Basic as Basic
import Hollowmere.Notch

// When Claude Code asks Hollowmere: two radio buttons, each with a line saying what it means.
Column {
    id: root
    property string title
    property var choices: []
    property int current: 0
    signal chosen(int choice)
    spacing: 6
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Text {
        text: root.title
        color: "white"
        font.pixelSize: 12
        font.weight: Font.DemiBold
        Accessible.ignored: true
    }

    Repeater {
        model: root.choices
        Basic.RadioButton {
            id: option
            required property var modelData
            required property int index
            width: root.width - root.leftPadding - root.rightPadding
            checked: root.current === index
            // A click would otherwise cut it loose from `current`.
            onClicked: {
                checked = Qt.binding(function() { return root.current === option.index })
                root.chosen(index)
            }
            text: modelData.label
            Accessible.name: modelData.label
            Accessible.description: modelData.detail
            focusPolicy: Qt.StrongFocus
            padding: 0
            indicator: Rectangle {
                x: 0
                y: 2
                implicitWidth: 16
                implicitHeight: 16
                radius: 8
                color: "transparent"
                border.width: option.visualFocus ? 2 : 1.5
                border.color: option.checked ? NotchPalette.accent
                                             : NotchPalette.opacity("white", 0.35)
                Rectangle {
                    anchors.centerIn: parent
                    width: 8
                    height: 8
                    radius: 4
                    visible: option.checked
                    color: NotchPalette.accent
                }
            }
            contentItem: Column {
                leftPadding: 24
                spacing: 1
                Text {
                    text: option.text
                    color: "white"
                    font.pixelSize: 12
                    font.weight: Font.DemiBold
                    Accessible.ignored: true
                }
                Text {
                    width: option.width - 24
                    text: option.modelData.detail
                    color: NotchPalette.mutedText
                    font.pixelSize: 11
                    wrapMode: Text.Wrap
                    Accessible.ignored: true
                }
            }
        }
    }
}
