// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Basic as Basic
import Hollowmere.Notch

// An on/off switch in the app's colours. It shows `value` and asks for a change with
// changeRequested; `label` is its accessible name (the row's title).
Basic.Switch {
    id: root
    property string label
    property bool value
    signal changeRequested(bool on)

    checked: value
    // A click would otherwise cut the switch loose from `value`.
    onToggled: {
        const wanted = checked
        checked = Qt.binding(function() { return root.value })
        changeRequested(wanted)
    }
    Accessible.name: label
    focusPolicy: Qt.StrongFocus
    padding: 0
    implicitWidth: indicator.implicitWidth
    implicitHeight: indicator.implicitHeight
    indicator: Rectangle {
        implicitWidth: 38
        implicitHeight: 22
        radius: height / 2
        color: root.checked ? NotchPalette.green : NotchPalette.opacity("white", 0.16)
        border.width: root.visualFocus ? 2 : 0
        border.color: NotchPalette.opacity("white", 0.6)
        Behavior on color { ColorAnimation { duration: 120 } }
        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 2
            x: root.checked ? parent.width - width - 2 : 2
            color: "white"
            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutQuad } }
        }
    }
    contentItem: Item {}
}
