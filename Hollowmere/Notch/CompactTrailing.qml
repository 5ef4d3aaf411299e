// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// Right of the camera housing: a bell while a prompt waits, "working" while a session works, a
// green check just after one finished, else an ellipsis.
Item {
    id: root
    property SessionStore sessions
    property QtObject tapAction
    readonly property alias model: summary

    implicitWidth: Math.max(symbol.visible ? symbol.width : 0, chip.visible ? chip.implicitWidth : 0)
                   + 2 * summary.leadingPadding
    implicitHeight: summary.haloSize + 2 * summary.leadingPadding

    Accessible.role: Accessible.Button
    Accessible.name: summary.trailingAccessibleName
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

    Image {
        id: symbol
        objectName: "trailingSymbol"
        anchors.centerIn: parent
        visible: summary.trailingKind !== "working"
        width: summary.trailingSymbolSize
        height: width
        sourceSize.width: width * 4
        sourceSize.height: height * 4
        source: visible ? UIPrimitives.symbolSource(summary.trailingSymbol, summary.trailingColor) : ""
        fillMode: Image.PreserveAspectFit
    }

    WorkingChip {
        id: chip
        objectName: "workingChip"
        anchors.centerIn: parent
        visible: summary.trailingKind === "working"
        text: summary.workingLabel
        color: NotchPalette.accent
    }

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: root.tap()
    }
}
