// SPDX-License-Identifier: MIT
import QtQuick

// Demo content: a working indicator left of the housing.
Item {
    implicitWidth: 30
    implicitHeight: 22
    Rectangle {
        anchors.centerIn: parent
        width: 14
        height: 14
        radius: 7
        color: "#d97757"
        Rectangle {
            anchors.centerIn: parent
            width: 22
            height: 22
            radius: 11
            color: "transparent"
            border.width: 2
            border.color: "#55d97757"
        }
    }
}
