// SPDX-License-Identifier: MIT
import QtQuick

// Demo content: a session count right of the housing.
Item {
    implicitWidth: 54
    implicitHeight: 22
    Rectangle {
        anchors.centerIn: parent
        width: 40
        height: 20
        radius: 10
        color: "#2a2a2c"
        Text {
            anchors.centerIn: parent
            text: "3"
            color: "white"
            font.pixelSize: 12
            font.bold: true
        }
    }
}
