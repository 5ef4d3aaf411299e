// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// One setting: an icon well (a green check once the setting is on), title over detail, and the
// row's own control at the trailing edge (the children given to the row).
Item {
    id: root
    property string icon
    property string title
    property string detail
    property bool statusOn: false
    default property alias trailing: trailingHolder.data

    implicitWidth: 360
    implicitHeight: Math.max(texts.implicitHeight, UIPrimitives.rowWellWidth,
                             trailingHolder.childrenRect.height) + 2 * UIPrimitives.rowPaddingV
    Accessible.role: Accessible.Grouping
    Accessible.name: root.title
    Accessible.description: root.detail

    Rectangle {
        anchors.fill: parent
        radius: UIPrimitives.rowCorner
        color: UIPrimitives.rowFill
    }
    Rectangle {
        id: well
        objectName: "rowWell"
        x: UIPrimitives.rowPaddingH
        anchors.verticalCenter: parent.verticalCenter
        width: UIPrimitives.rowWellWidth
        height: UIPrimitives.rowWellWidth
        radius: UIPrimitives.rowWellCorner
        color: root.statusOn ? UIPrimitives.rowWellOnFill : UIPrimitives.rowWellFill
        Image {
            anchors.centerIn: parent
            width: root.statusOn ? UIPrimitives.rowCheckSize : UIPrimitives.rowTitleSize + 3
            height: width
            sourceSize.width: width * 4
            sourceSize.height: height * 4
            source: root.statusOn ? UIPrimitives.symbolSource("checkmark", NotchPalette.green)
                                  : root.icon.length > 0
                                    ? UIPrimitives.symbolSource(root.icon, NotchPalette.mutedText)
                                    : ""
            Accessible.ignored: true
        }
    }
    Column {
        id: texts
        anchors.left: well.right
        anchors.leftMargin: UIPrimitives.rowSpacing
        anchors.right: trailingHolder.left
        anchors.rightMargin: UIPrimitives.rowSpacing
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2
        Text {
            width: parent.width
            text: root.title
            color: "white"
            elide: Text.ElideRight
            font.pixelSize: UIPrimitives.rowTitleSize
            font.weight: Font.DemiBold
            Accessible.ignored: true
        }
        Text {
            width: parent.width
            visible: text.length > 0
            text: root.detail
            color: NotchPalette.mutedText
            wrapMode: Text.Wrap
            font.pixelSize: UIPrimitives.rowDetailSize
            Accessible.ignored: true
        }
    }
    Item {
        id: trailingHolder
        anchors.right: parent.right
        anchors.rightMargin: UIPrimitives.rowPaddingH
        anchors.verticalCenter: parent.verticalCenter
        width: childrenRect.width
        height: childrenRect.height
    }
}
