// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.HUD

// A row of rounded segments; the first litCount are lit in the tint and glow.
Item {
    id: root
    property real value: 0
    property int segmentCount: 10
    property color tint: "white"
    property real spacing: 2
    readonly property alias bar: bar

    implicitHeight: 8

    SegmentedBarModel {
        id: bar
        value: root.value
        segmentCount: root.segmentCount
        spacing: root.spacing
        availableWidth: root.width
        tint: root.tint
    }

    Row {
        spacing: root.spacing
        anchors.verticalCenter: parent.verticalCenter

        Repeater {
            model: root.segmentCount

            Item {
                id: segment
                required property int index
                readonly property bool lit: segment.index < bar.litCount
                width: bar.segmentWidth
                height: root.height

                // A soft glow: two widening, fading halos behind a lit segment.
                Repeater {
                    model: segment.lit ? 2 : 0
                    Rectangle {
                        required property int index
                        readonly property real grow: bar.glowRadius * (index + 1) / 2
                        x: -grow
                        y: -grow
                        width: segment.width + 2 * grow
                        height: segment.height + 2 * grow
                        radius: bar.cornerRadius + grow
                        color: bar.glowColor
                        opacity: index === 0 ? 0.6 : 0.3
                    }
                }

                Rectangle {
                    anchors.fill: parent
                    radius: bar.cornerRadius
                    color: segment.lit ? bar.tint : bar.unlitColor
                }
            }
        }
    }
}
