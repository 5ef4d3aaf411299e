// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Hollowmere.Notch

// Left of the camera housing: the product mark over a halo in the sessions' accent. The halo
// pulses only while a prompt waits or a session works; the mark turns while a prompt waits.
Item {
    id: root
    property SessionStore sessions
    property QtObject tapAction
    readonly property alias model: summary

    implicitWidth: summary.haloSize + 2 * summary.leadingPadding
    implicitHeight: implicitWidth

    Accessible.role: Accessible.Button
    Accessible.name: summary.accessibleName
    Accessible.description: summary.tapHint
    Accessible.onPressAction: root.tap()

    function tap() {
        if (root.tapAction)
            root.tapAction.trigger()
    }

    SessionsModel {
        id: summary
        store: root.sessions
    }

    Rectangle {
        id: halo
        objectName: "halo"
        anchors.centerIn: parent
        width: summary.haloSize
        height: width
        radius: width / 2
        color: Qt.rgba(summary.compactAccent.r, summary.compactAccent.g, summary.compactAccent.b,
                       summary.haloOpacity)
        opacity: summary.haloFadeFrom

        ParallelAnimation {
            id: pulse
            running: root.visible && summary.needsAttention
            loops: Animation.Infinite
            NumberAnimation {
                target: halo; property: "scale"; from: 1; to: summary.haloScaleTo
                duration: summary.haloPeriodMs; easing.type: Easing.OutQuad
            }
            NumberAnimation {
                target: halo; property: "opacity"; from: summary.haloFadeFrom; to: 0
                duration: summary.haloPeriodMs; easing.type: Easing.OutQuad
            }
            // At rest the halo stands still, so an idle notch draws no frames.
            onRunningChanged: if (!running) { halo.scale = 1; halo.opacity = summary.haloFadeFrom }
        }
    }

    SoftShadow {
        anchors.centerIn: parent
        width: summary.markSize
        height: width
        corner: width / 2
        radius: summary.markShadowRadius
        color: Qt.rgba(summary.compactAccent.r, summary.compactAccent.g, summary.compactAccent.b,
                       summary.markShadowOpacity * 0.5)
    }

    ClaudeMark {
        objectName: "mark"
        anchors.centerIn: parent
        width: summary.markSize
        height: width
        color: summary.compactAccent
        rotation: summary.markRotation
        Behavior on rotation { NotchNumberAnimation { curve: summary.markAnimation } }
    }

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: root.tap()
    }
}
