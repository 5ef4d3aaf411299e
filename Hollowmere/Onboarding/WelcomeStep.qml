// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

Item {
    id: root
    required property OnboardingFlow flow
    readonly property string primaryText: flow.texts.getStarted
    readonly property bool primaryEnabled: true
    function primaryAction() { flow.advance() }
    visible: flow.step === 0

    Column {
        anchors.centerIn: parent
        anchors.verticalCenterOffset: -10
        spacing: 14
        IconBadge {
            size: 76
            corner: 20
            anchors.horizontalCenter: parent.horizontalCenter
        }
        Item { width: 1; height: 8 }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: root.flow.texts.welcomeTitle
            color: "white"
            font.pixelSize: 30
            font.weight: Font.Bold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            text: root.flow.texts.welcomeSubtitle
            color: NotchPalette.opacity("white", 0.62)
            font.pixelSize: 15
            Accessible.name: text
        }
    }
}
