// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A card: its content on a dark rounded rectangle with a faint outline. Children are placed
// inside `padding`; the card takes their size unless given one.
Item {
    id: root
    default property alias content: holder.data
    property real padding: 0

    implicitWidth: holder.childrenRect.width + 2 * padding
    implicitHeight: holder.childrenRect.height + 2 * padding

    Rectangle {
        objectName: "cardShape"
        anchors.fill: parent
        radius: UIPrimitives.cardCorner
        color: NotchPalette.cardFill
        border.color: NotchPalette.cardStroke
        border.width: UIPrimitives.cardStrokeWidth
    }
    Item {
        id: holder
        anchors.fill: parent
        anchors.margins: root.padding
    }
}
