// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

// The trailing controls of the Accessibility row: a way to grant it, the granted mark, or the
// restart a late grant needs.
Row {
    id: root
    property int state: OnboardingFlow.NotGranted
    property var texts
    signal openSettings()
    signal restart()
    spacing: 8

    ActionButton {
        visible: root.state === OnboardingFlow.NotGranted
        text: root.texts.openSystemSettings
        onClicked: root.openSettings()
    }
    ActionButton {
        visible: root.state === OnboardingFlow.GrantedNeedsRestart
        kind: ActionButton.Kind.Primary
        text: root.texts.restart
        onClicked: root.restart()
    }
    Row {
        visible: root.state === OnboardingFlow.Granted
        spacing: 5
        anchors.verticalCenter: parent.verticalCenter
        Symbol {
            name: "checkmark"
            color: NotchPalette.green
            size: 12
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: root.texts.granted
            color: NotchPalette.green
            font.pixelSize: 12
            font.weight: Font.DemiBold
            Accessible.name: text
        }
    }
}
