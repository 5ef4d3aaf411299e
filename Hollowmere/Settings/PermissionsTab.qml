// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding
import Hollowmere.Settings

Column {
    id: root
    required property SettingsModel model
    readonly property var texts: model.texts
    spacing: 8

    SettingRow {
        width: root.width
        icon: "hand.point.up.left.fill"
        title: root.texts.accessibilityTitle
        detail: root.model.accessibilityState === OnboardingFlow.GrantedNeedsRestart
                ? root.texts.restartNote : root.texts.accessibilityDetail
        statusOn: root.model.accessibilityState === OnboardingFlow.Granted
        AccessibilityControls {
            state: root.model.accessibilityState
            texts: root.texts
            onOpenSettings: root.model.openAccessibilitySettings()
            onRestart: root.model.restartForAccessibility()
        }
    }
}
