// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding
import Hollowmere.Settings

// Asks before an action that cannot be taken back; Cancel has the keyboard.
Rectangle {
    id: root
    required property SettingsModel model
    visible: model.confirming
    color: Qt.rgba(0, 0, 0, 0.55)
    onVisibleChanged: if (visible) cancel.forceActiveFocus()

    MouseArea { anchors.fill: parent } // nothing behind it takes clicks meanwhile

    Rectangle {
        anchors.centerIn: parent
        width: 380
        height: content.implicitHeight + 40
        radius: 14
        color: "#2a2a2d"
        border.color: NotchPalette.cardStroke
        Accessible.role: Accessible.Dialog
        Accessible.name: root.model.confirmTitle
        Accessible.description: root.model.confirmMessage
        Keys.onEscapePressed: root.model.cancelConfirmation()

        Column {
            id: content
            x: 20
            y: 20
            width: parent.width - 40
            spacing: 10
            Text {
                width: parent.width
                text: root.model.confirmTitle
                color: "white"
                font.pixelSize: 15
                font.weight: Font.Bold
                wrapMode: Text.Wrap
                Accessible.name: text
            }
            Text {
                width: parent.width
                text: root.model.confirmMessage
                color: NotchPalette.opacity("white", 0.7)
                font.pixelSize: 12
                wrapMode: Text.Wrap
                Accessible.name: text
            }
            Item { width: 1; height: 6 }
            Row {
                anchors.right: parent.right
                spacing: 8
                ActionButton {
                    id: cancel
                    text: root.model.texts.cancel
                    onClicked: root.model.cancelConfirmation()
                }
                ActionButton {
                    kind: ActionButton.Kind.Destructive
                    text: root.model.confirmLabel
                    onClicked: root.model.confirm()
                }
            }
        }
    }
}
