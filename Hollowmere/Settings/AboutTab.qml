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

    Item { width: 1; height: 8 }
    IconBadge {
        size: 56
        corner: 15
        anchors.horizontalCenter: parent.horizontalCenter
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: root.texts.appName
        color: "white"
        font.pixelSize: 20
        font.weight: Font.Bold
        Accessible.name: text
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: root.model.versionText
        color: NotchPalette.mutedText
        font.pixelSize: 12
        Accessible.name: text
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: root.texts.tagLine
        color: NotchPalette.opacity("white", 0.75)
        font.pixelSize: 13
        Accessible.name: text
    }
    Item { width: 1; height: 6 }
    ActionButton {
        anchors.horizontalCenter: parent.horizontalCenter
        text: root.texts.quit
        symbol: "power"
        onClicked: root.model.quit()
    }
    Item { width: 1; height: 10 }

    SettingRow {
        width: root.width
        icon: "arrow.down.circle.fill"
        title: root.texts.updatesTitle
        detail: root.model.updateStateLine
        SwitchControl {
            visible: root.model.updatesAvailable
            label: root.texts.automaticUpdates
            value: root.model.automaticUpdates
            onChangeRequested: (on) => root.model.automaticUpdates = on
        }
    }
    Row {
        visible: root.model.updatesAvailable
        spacing: 10
        ActionButton {
            text: root.texts.checkNow
            onClicked: root.model.checkForUpdates()
        }
    }
    Text {
        width: root.width
        visible: text.length > 0
        text: root.model.updateResultLine
        color: "white"
        font.pixelSize: 12
        wrapMode: Text.Wrap
        Accessible.name: text
    }
    ActionButton {
        visible: root.model.updateResultLink.toString().length > 0
        text: root.texts.releaseNotes
        symbol: "arrow.up.right"
        onClicked: root.model.openLink(root.model.updateResultLink)
    }
}
