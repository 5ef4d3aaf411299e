// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

// Try it out: how to start Claude Code, what a prompt looks like in the notch, and the live
// count of sessions the app sees.
Item {
    id: root
    required property OnboardingFlow flow
    readonly property var texts: flow.texts
    readonly property string primaryText: flow.finishLabel
    readonly property bool primaryEnabled: true
    function primaryAction() { flow.finish() }
    visible: flow.step === 3

    StepHeader {
        id: header
        width: parent.width
        title: root.flow.demoTitle
        text: root.texts.demoText
    }

    Column {
        id: hints
        anchors.top: header.bottom
        anchors.topMargin: 18
        width: parent.width * 0.46
        spacing: 8
        Text {
            text: root.texts.runAnyOfThese
            color: NotchPalette.mutedText
            font.pixelSize: 12
            Accessible.name: text
        }
        Repeater {
            model: root.flow.terminals
            Row {
                required property string modelData
                spacing: 6
                Text {
                    text: modelData
                    color: "white"
                    font.pixelSize: 12
                    font.weight: Font.DemiBold
                    anchors.verticalCenter: parent.verticalCenter
                    Accessible.name: modelData + ", " + root.texts.thenType + " " + root.texts.command
                }
                Text {
                    text: "— " + root.texts.thenType
                    color: NotchPalette.mutedText
                    font.pixelSize: 12
                    anchors.verticalCenter: parent.verticalCenter
                    Accessible.ignored: true
                }
                Rectangle {
                    width: command.implicitWidth + 12
                    height: command.implicitHeight + 6
                    radius: 5
                    color: NotchPalette.codeFill
                    border.color: NotchPalette.codeStroke
                    Text {
                        id: command
                        anchors.centerIn: parent
                        text: root.texts.command
                        color: NotchPalette.accent
                        font.family: "monospace"
                        font.pixelSize: 12
                        Accessible.ignored: true
                    }
                }
            }
        }
    }

    // A notch holding a sample prompt: a picture of what is to come, not a control.
    Item {
        id: mock
        anchors.top: hints.top
        anchors.right: parent.right
        width: parent.width * 0.48
        height: 150
        Accessible.ignored: true
        Rectangle {
            anchors.fill: parent
            radius: 22
            color: "black"
            border.color: NotchPalette.cardStroke
            Rectangle { // the flat top where it meets the screen's edge
                width: parent.width
                height: 22
                color: "black"
            }
        }
        Column {
            x: 16
            y: 22
            width: parent.width - 32
            spacing: 12
            Row {
                spacing: 8
                ClaudeMark {
                    width: 16
                    height: 16
                    color: NotchPalette.accent
                    anchors.verticalCenter: parent.verticalCenter
                }
                Text {
                    text: root.texts.sampleTitle
                    color: "white"
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    anchors.verticalCenter: parent.verticalCenter
                }
            }
            Rectangle {
                width: parent.width
                height: 24
                radius: 6
                color: NotchPalette.codeFill
                border.color: NotchPalette.codeStroke
                Text {
                    x: 8
                    anchors.verticalCenter: parent.verticalCenter
                    text: "- if (!token) return null;"
                    color: NotchPalette.mutedText
                    font.family: "monospace"
                    font.pixelSize: 11
                }
            }
            Row {
                spacing: 6
                Repeater {
                    model: [root.texts.approve, root.texts.deny, root.texts.always]
                    Rectangle {
                        required property string modelData
                        required property int index
                        width: label.implicitWidth + 20
                        height: 24
                        radius: 7
                        color: index === 0 ? NotchPalette.accent : NotchPalette.opacity("white", 0.1)
                        Text {
                            id: label
                            anchors.centerIn: parent
                            text: modelData
                            color: "white"
                            font.pixelSize: 12
                            font.weight: Font.DemiBold
                        }
                    }
                }
            }
        }
    }

    Row {
        anchors.top: mock.bottom
        anchors.topMargin: 22
        width: parent.width
        spacing: 12
        Rectangle {
            width: 34
            height: 34
            radius: 17
            color: root.flow.sessionSeen ? NotchPalette.opacity(NotchPalette.green, 0.15)
                                         : NotchPalette.opacity("white", 0.06)
            Symbol {
                anchors.centerIn: parent
                name: root.flow.sessionSeen ? "checkmark.seal.fill" : "ellipsis"
                color: root.flow.sessionSeen ? NotchPalette.green : NotchPalette.mutedText
                size: 16
            }
        }
        Column {
            width: parent.width - 46
            spacing: 3
            anchors.verticalCenter: parent.verticalCenter
            Row {
                spacing: 8
                Text {
                    text: root.flow.demoStatus
                    color: "white"
                    font.pixelSize: 14
                    font.weight: Font.DemiBold
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                Text {
                    visible: text.length > 0
                    text: root.flow.demoCountText
                    color: NotchPalette.green
                    font.pixelSize: 12
                    anchors.baseline: parent.children[0].baseline
                    Accessible.name: text
                }
            }
            Text {
                width: parent.width
                visible: root.flow.sessionSeen
                text: root.texts.liveText
                color: NotchPalette.mutedText
                font.pixelSize: 12
                wrapMode: Text.Wrap
                Accessible.name: text
            }
        }
    }
}
