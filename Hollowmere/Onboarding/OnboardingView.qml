// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch
import Hollowmere.Onboarding

// The onboarding window's content: progress, the current step, Back and the step's own action.
// Dragging the background moves the window; Return presses the step's action.
Rectangle {
    id: root
    required property OnboardingFlow flow
    readonly property var texts: flow.texts
    readonly property var steps: [welcome, hooks, permissions, demo]
    readonly property Item current: steps[flow.step]

    width: 720
    height: 520
    color: "#1b1b1d"
    radius: Window.window && Window.window.color.a === 0 ? 18 : 0
    border.color: NotchPalette.cardStroke
    border.width: 1
    focus: true
    Keys.onReturnPressed: if (current.primaryEnabled) current.primaryAction()
    Keys.onEnterPressed: if (current.primaryEnabled) current.primaryAction()

    DragHandler {
        target: null
        onActiveChanged: if (active) root.Window.window.startSystemMove()
    }

    Row {
        id: progress
        x: 32
        y: 28
        spacing: 6
        Repeater {
            model: root.flow.stepCount
            Rectangle {
                required property int index
                width: index === root.flow.step ? 28 : 14
                height: 5
                radius: 2.5
                color: index <= root.flow.step ? NotchPalette.accent
                                               : NotchPalette.opacity("white", 0.14)
                Behavior on width { NumberAnimation { duration: 200; easing.type: Easing.OutCubic } }
            }
        }
        Accessible.role: Accessible.ProgressBar
        Accessible.name: "Step " + (root.flow.step + 1) + " of " + root.flow.stepCount
    }

    Item {
        id: page
        anchors.fill: parent
        anchors.topMargin: 56
        anchors.bottomMargin: 72
        anchors.leftMargin: 32
        anchors.rightMargin: 32

        WelcomeStep { id: welcome; flow: root.flow; anchors.fill: parent }
        HooksStep { id: hooks; flow: root.flow; anchors.fill: parent }
        PermissionsStep { id: permissions; flow: root.flow; anchors.fill: parent }
        DemoStep { id: demo; flow: root.flow; anchors.fill: parent }
    }

    ActionButton {
        id: back
        x: 32
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24
        visible: root.flow.canGoBack
        text: root.texts.back
        symbol: "chevron.left"
        onClicked: root.flow.goBack()
    }
    ActionButton {
        id: primary
        anchors.right: parent.right
        anchors.rightMargin: 32
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24
        kind: ActionButton.Kind.Primary
        text: root.current.primaryText
        enabled: root.current.primaryEnabled
        onClicked: root.current.primaryAction()
    }
}
