// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

// Accessibility, start at login and sounds. Continue waits for Accessibility to take effect.
Item {
    id: root
    required property OnboardingFlow flow
    readonly property var texts: flow.texts
    readonly property string primaryText: flow.permissionsContinueLabel
    readonly property bool primaryEnabled: flow.permissionsContinueEnabled
    function primaryAction() { flow.advance() }
    visible: flow.step === 2

    StepHeader {
        id: header
        width: parent.width
        title: root.texts.permissionsTitle
        text: root.texts.permissionsSubtitle
    }

    Column {
        anchors.top: header.bottom
        anchors.topMargin: 18
        width: parent.width
        spacing: 8

        SettingRow {
            width: parent.width
            icon: "hand.point.up.left.fill"
            title: root.texts.accessibilityTitle
            detail: root.flow.accessibilityState === OnboardingFlow.GrantedNeedsRestart
                    ? root.texts.restartNote : root.texts.accessibilityDetail
            statusOn: root.flow.accessibilityState === OnboardingFlow.Granted
            AccessibilityControls {
                state: root.flow.accessibilityState
                texts: root.texts
                onOpenSettings: root.flow.openAccessibilitySettings()
                onRestart: root.flow.restartForAccessibility()
            }
        }
        SettingRow {
            width: parent.width
            icon: "power"
            title: root.texts.launchTitle
            detail: root.texts.launchDetail
            statusOn: root.flow.launchAgentInstalled
            SwitchControl {
                label: root.texts.launchTitle
                value: root.flow.launchAgentInstalled
                onChangeRequested: (on) => root.flow.setStartAtLogin(on)
            }
        }
        SettingRow {
            width: parent.width
            icon: "speaker.wave.2.fill"
            title: root.texts.soundsTitle
            detail: root.texts.soundsDetail
            SwitchControl {
                label: root.texts.soundsTitle
                value: root.flow.soundsEnabled
                onChangeRequested: (on) => root.flow.soundsEnabled = on
            }
        }
    }
}
