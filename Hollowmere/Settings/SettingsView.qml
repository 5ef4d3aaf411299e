// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls.Basic as Basic
import Hollowmere.Notch
import Hollowmere.Onboarding
import Hollowmere.Settings

// The settings window: header with the version, the tab bar, the current tab and Close.
Rectangle {
    id: root
    required property SettingsModel model
    readonly property var texts: model.texts

    width: 620
    height: 640
    color: "#1b1b1d"
    focus: true
    Keys.onEscapePressed: model.confirming ? model.cancelConfirmation() : model.close()

    Row {
        id: header
        x: 24
        y: 20
        spacing: 12
        IconBadge { size: 36; corner: 10 }
        Column {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 2
            Text {
                text: root.texts.title
                color: "white"
                font.pixelSize: 18
                font.weight: Font.Bold
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Text {
                text: root.model.versionLine
                color: NotchPalette.mutedText
                font.pixelSize: 12
                Accessible.name: text
            }
        }
    }
    ActionButton {
        anchors.right: parent.right
        anchors.rightMargin: 24
        anchors.verticalCenter: header.verticalCenter
        text: root.texts.close
        symbol: "xmark"
        onClicked: root.model.close()
    }

    Basic.TabBar {
        id: tabs
        x: 24
        anchors.top: header.bottom
        anchors.topMargin: 18
        width: parent.width - 48
        currentIndex: root.model.currentTab
        onCurrentIndexChanged: root.model.currentTab = currentIndex
        background: Rectangle {
            radius: 9
            color: NotchPalette.opacity("white", 0.05)
        }
        Repeater {
            model: root.model.tabs
            Basic.TabButton {
                id: tab
                required property string modelData
                required property int index
                text: modelData
                Accessible.name: modelData
                height: 34
                contentItem: Item {
                    implicitWidth: tabLabel.implicitWidth
                    implicitHeight: tabLabel.implicitHeight
                Row {
                    id: tabLabel
                    spacing: 6
                    anchors.centerIn: parent
                    Symbol {
                        name: root.model.tabIcons[tab.index]
                        size: 13
                        color: tab.checked ? "white" : NotchPalette.mutedText
                        anchors.verticalCenter: parent.verticalCenter
                    }
                    Text {
                        text: tab.text
                        color: tab.checked ? "white" : NotchPalette.mutedText
                        font.pixelSize: 13
                        font.weight: tab.checked ? Font.DemiBold : Font.Normal
                        anchors.verticalCenter: parent.verticalCenter
                        Accessible.ignored: true
                    }
                }
                }
                background: Rectangle {
                    radius: 7
                    anchors.margins: 3
                    anchors.fill: parent
                    color: tab.checked ? NotchPalette.opacity("white", 0.12) : "transparent"
                    border.width: tab.visualFocus ? 2 : 0
                    border.color: NotchPalette.opacity("white", 0.6)
                }
            }
        }
    }

    Basic.ScrollView {
        id: scroller
        anchors.top: tabs.bottom
        anchors.topMargin: 16
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 16
        x: 24
        width: parent.width - 48
        contentWidth: availableWidth
        clip: true
        Loader {
            width: scroller.availableWidth
            sourceComponent: [general, permissions, connection, about][root.model.currentTab]
        }
    }

    Component { id: general; GeneralTab { model: root.model } }
    Component { id: permissions; PermissionsTab { model: root.model } }
    Component { id: connection; ConnectionTab { model: root.model } }
    Component { id: about; AboutTab { model: root.model } }

    ConfirmationDialog {
        anchors.fill: parent
        model: root.model
    }
}
