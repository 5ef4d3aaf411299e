// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding
import Hollowmere.Settings

// The hook entries, the settings backup and the allow rules, as the files hold them now.
Column {
    id: root
    required property SettingsModel model
    readonly property var texts: model.texts
    spacing: 8

    SettingRow {
        width: root.width
        icon: "terminal"
        title: root.texts.hookTitle
        detail: root.model.hookStatusText
        statusOn: root.model.hooksInstalled
        ActionButton {
            text: root.model.hooksInstalled ? root.texts.uninstall : root.texts.install
            kind: root.model.hooksInstalled ? ActionButton.Kind.Secondary
                                            : ActionButton.Kind.Primary
            onClicked: root.model.hooksInstalled ? root.model.requestUninstall()
                                                 : root.model.installHooks()
        }
    }
    Text {
        width: root.width
        leftPadding: 12
        text: root.model.hookPathText
        color: NotchPalette.dimText
        font.family: "monospace"
        font.pixelSize: 11
        elide: Text.ElideMiddle
        Accessible.name: text
    }
    Text {
        width: root.width
        leftPadding: 12
        visible: text.length > 0
        text: root.model.problemText
        color: NotchPalette.orange
        font.pixelSize: 12
        wrapMode: Text.Wrap
        Accessible.name: text
    }

    AskWhenChoice {
        width: root.width
        leftPadding: 12
        title: root.model.askWhenTitle
        choices: root.model.askWhenChoices
        current: root.model.askWhen
        onChosen: (choice) => root.model.askWhen = choice
    }
    Item { width: 1; height: 4 }

    SettingRow {
        width: root.width
        visible: root.model.backupExists
        icon: "arrow.uturn.backward"
        title: root.texts.restoreTitle
        detail: root.texts.restoreDetail
        ActionButton {
            text: root.texts.restore
            onClicked: root.model.requestRestore()
        }
    }

    Item { width: 1; height: 8 }
    Row {
        width: root.width
        spacing: 10
        Symbol {
            name: "checkmark.shield.fill"
            color: NotchPalette.green
            size: 16
        }
        Text {
            width: parent.width - 26
            text: root.texts.rulesIntro
            color: NotchPalette.mutedText
            font.pixelSize: 12
            wrapMode: Text.Wrap
            Accessible.name: text
        }
    }
    Row {
        spacing: 8
        Text {
            text: root.texts.rulesHeader
            color: "white"
            font.pixelSize: 13
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Rectangle {
            width: count.implicitWidth + 12
            height: count.implicitHeight + 4
            radius: height / 2
            color: NotchPalette.chipFill
            anchors.verticalCenter: parent.verticalCenter
            Text {
                id: count
                anchors.centerIn: parent
                text: root.model.allowedCountText
                color: "white"
                font.pixelSize: 11
                Accessible.name: root.texts.rulesHeader + ": " + text
            }
        }
    }
    Text {
        width: root.width
        visible: root.model.allowPatterns.length === 0
        text: root.texts.noRules
        color: NotchPalette.dimText
        font.pixelSize: 12
        wrapMode: Text.Wrap
        Accessible.name: text
    }
    Repeater {
        model: root.model.allowPatterns
        Rectangle {
            id: rule
            required property string modelData
            required property int index
            width: root.width
            height: 38
            radius: 8
            color: NotchPalette.opacity("white", 0.03)
            Text {
                x: 12
                width: parent.width - revoke.width - 36
                anchors.verticalCenter: parent.verticalCenter
                text: rule.modelData
                color: "white"
                font.family: "monospace"
                font.pixelSize: 12
                elide: Text.ElideRight
                Accessible.name: text
            }
            ActionButton {
                id: revoke
                anchors.right: parent.right
                anchors.rightMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 28
                text: root.texts.revoke
                symbol: "xmark"
                Accessible.description: rule.modelData
                onClicked: root.model.revoke(rule.index)
            }
        }
    }
}
