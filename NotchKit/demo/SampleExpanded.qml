// SPDX-License-Identifier: MIT
import QtQuick

// Demo content: a short list of sessions.
Column {
    property string heading: "Sessions"
    spacing: 8
    padding: 14
    topPadding: 10
    width: 400

    Text {
        text: parent.heading
        color: "#8e8e93"
        font.pixelSize: 11
        font.bold: true
        font.capitalization: Font.AllUppercase
    }

    Repeater {
        model: [
            { name: "hollowmere", detail: "Editing NotchSurface.cpp", dot: "#d97757", when: "now" },
            { name: "website", detail: "Waiting for approval: Bash(npm test)", dot: "#ffd60a", when: "2m" },
            { name: "notes", detail: "Finished", dot: "#30d158", when: "14m" }
        ]
        delegate: Rectangle {
            required property var modelData
            width: 372
            height: 44
            radius: 10
            color: "#1c1c1e"
            Rectangle {
                x: 12
                anchors.verticalCenter: parent.verticalCenter
                width: 8
                height: 8
                radius: 4
                color: modelData.dot
            }
            Column {
                x: 30
                anchors.verticalCenter: parent.verticalCenter
                spacing: 2
                Text { text: modelData.name; color: "white"; font.pixelSize: 13; font.bold: true }
                Text { text: modelData.detail; color: "#a1a1a6"; font.pixelSize: 11 }
            }
            Text {
                anchors.right: parent.right
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                text: modelData.when
                color: "#8e8e93"
                font.pixelSize: 11
            }
        }
    }
}
