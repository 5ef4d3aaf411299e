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
        icon: "speaker.wave.2.fill"
        title: root.texts.soundsTitle
        detail: root.texts.soundsDetail
        SwitchControl {
            label: root.texts.soundsTitle
            value: root.model.soundsEnabled
            onChangeRequested: (on) => root.model.soundsEnabled = on
        }
    }
    SettingRow {
        width: root.width
        icon: "power"
        title: root.texts.launchTitle
        detail: root.texts.launchDetail
        statusOn: root.model.startAtLogin
        SwitchControl {
            label: root.texts.launchTitle
            value: root.model.startAtLogin
            onChangeRequested: (on) => root.model.startAtLogin = on
        }
    }
    SettingRow {
        width: root.width
        icon: "arrow.counterclockwise"
        title: root.texts.replayTitle
        detail: root.texts.replayDetail
        ActionButton {
            text: root.texts.replay
            onClicked: root.model.replayOnboarding()
        }
    }
}
