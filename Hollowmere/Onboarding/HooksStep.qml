// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

// Connect to Claude Code: what will be written where, why, and the button that writes it.
Item {
    id: root
    required property OnboardingFlow flow
    readonly property var texts: flow.texts
    readonly property string primaryText: flow.hooksPrimaryLabel
    readonly property bool primaryEnabled: true
    function primaryAction() { flow.hooksPrimaryAction() }
    visible: flow.step === 1

    StepHeader {
        id: header
        width: parent.width
        title: root.texts.hooksTitle
        text: root.texts.hooksText
    }

    Column {
        id: left
        anchors.top: header.bottom
        anchors.topMargin: 18
        width: parent.width * 0.56
        spacing: 10

        Rectangle {
            width: parent.width
            height: preview.implicitHeight + 24
            radius: 10
            color: NotchPalette.codeFill
            border.color: NotchPalette.codeStroke
            Column {
                id: preview
                x: 12
                y: 12
                width: parent.width - 24
                spacing: 6
                Text {
                    text: root.texts.settingsFile
                    color: NotchPalette.mutedText
                    font.family: "monospace"
                    font.pixelSize: 12
                    Accessible.name: text
                }
                Repeater {
                    model: root.flow.hookEventNames
                    Text {
                        required property string modelData
                        width: preview.width
                        text: "hooks." + modelData
                        color: "white"
                        font.family: "monospace"
                        font.pixelSize: 12
                        Accessible.name: modelData
                    }
                }
                Text {
                    width: preview.width
                    text: "→ " + root.flow.hookPathText
                    color: NotchPalette.accent
                    font.family: "monospace"
                    font.pixelSize: 11
                    elide: Text.ElideMiddle
                    Accessible.name: root.flow.hookPathText
                }
            }
        }
        Text {
            width: parent.width
            text: root.texts.reassurance
            color: NotchPalette.mutedText
            font.pixelSize: 11
            wrapMode: Text.Wrap
            Accessible.name: text
        }
        AskWhenChoice {
            width: parent.width
            title: root.flow.askWhenTitle
            choices: root.flow.askWhenChoices
            current: root.flow.askWhen
            onChosen: (choice) => root.flow.askWhen = choice
        }
        Text {
            width: parent.width
            visible: text.length > 0 && !root.flow.hooksInstalled
            text: root.flow.installStatus
            color: NotchPalette.orange
            font.pixelSize: 11
            wrapMode: Text.Wrap
            Accessible.name: text
        }
    }

    Column {
        anchors.top: left.top
        anchors.left: left.right
        anchors.leftMargin: 24
        anchors.right: parent.right
        spacing: 14
        Repeater {
            model: [
                { symbol: "hand.raised.fill", text: root.texts.featurePermissions },
                { symbol: "questionmark.bubble.fill", text: root.texts.featureQuestions },
                { symbol: "party.popper.fill", text: root.texts.featureCelebrate }
            ]
            Row {
                required property var modelData
                width: parent.width
                spacing: 10
                Rectangle {
                    width: 28
                    height: 28
                    radius: 8
                    color: NotchPalette.opacity(NotchPalette.accent, 0.16)
                    Symbol {
                        anchors.centerIn: parent
                        name: modelData.symbol
                        color: NotchPalette.accent
                        size: 14
                    }
                }
                Text {
                    width: parent.width - 38
                    anchors.verticalCenter: parent.verticalCenter
                    text: modelData.text
                    color: NotchPalette.opacity("white", 0.85)
                    font.pixelSize: 12
                    wrapMode: Text.Wrap
                    Accessible.name: text
                }
            }
        }
    }
}
