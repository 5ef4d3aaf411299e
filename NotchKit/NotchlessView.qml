// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Qt5Compat.GraphicalEffects

// The floating style for screens without a notch: a rounded card that hangs below the menu
// bar when expanded and waits above the top edge otherwise.
Item {
    id: view

    required property NotchSurface surface
    required property NotchLayout layout
    property real shadowOpacity: 0
    property real shadowRadius: 0
    readonly property bool masksContent: GraphicsInfo.api !== GraphicsInfo.Software

    Item {
        id: card
        objectName: "floatingCard"
        x: view.layout.floatingRect.x
        width: view.layout.floatingRect.width
        height: view.layout.floatingRect.height
        readonly property real targetY: view.layout.floatingRect.y

        onTargetYChanged: {
            const curve = view.surface.stateAnimation
            slide.stop()
            slide.duration = curve.durationMs
            slide.easing.bezierCurve = curve.bezierCurve
            slide.from = y
            slide.to = targetY
            slide.start()
        }
        Component.onCompleted: y = targetY

        NumberAnimation {
            id: slide
            target: card
            property: "y"
            easing.type: Easing.BezierSpline
        }

        NotchShadow {
            anchors.fill: parent
            glowRadius: view.shadowRadius
            shadowOpacity: view.shadowOpacity
            shapeRadius: view.layout.floatingCornerRadius
        }

        // Content is cut to the rounded card (to its rectangle under the software renderer).
        Item {
            anchors.fill: parent
            clip: !view.masksContent
            layer.enabled: view.masksContent
            layer.effect: OpacityMask {
                maskSource: cardMask
            }

            VisualEffectView {
                anchors.fill: parent
                radius: view.layout.floatingCornerRadius
                material: view.layout.floatingMaterialColor
            }

            NotchContentSlot {
                id: content
                objectName: "expandedContent"
                content: view.surface ? view.surface.expandedContent : null
                section: 0
                surface: view.surface
                x: view.layout.floatingPadding
                y: view.layout.floatingPadding
                shown: view.layout.showsExpanded
                hiddenScale: view.layout.expandedTransitionScale
                blurRadius: view.layout.transitionBlur
                transformOrigin: Item.Top
                onWidthChanged: view.reportSize()
                onHeightChanged: view.reportSize()
            }
        }

        Rectangle {
            id: cardMask
            anchors.fill: parent
            radius: view.layout.floatingCornerRadius
            antialiasing: true
            visible: false
        }

        // Hairline over the edge.
        Rectangle {
            anchors.fill: parent
            anchors.margins: view.layout.hairlineInset
            radius: view.layout.floatingCornerRadius - view.layout.hairlineInset
            color: "transparent"
            border.width: 1
            border.color: view.layout.hairlineColor
        }

        HoverHandler {
            onHoveredChanged: view.surface.updateHoverState(hovered)
        }
        TapHandler {
            acceptedButtons: Qt.RightButton
            onTapped: view.surface.requestContextMenu(point.scenePosition)
        }
    }

    // What is drawn, frame by frame: the panel cuts its window to it where nothing composites.
    Binding {
        target: view.layout
        property: "drawnRect"
        value: Qt.rect(card.x, card.y, card.width, card.height)
    }

    function reportSize() {
        layout.expandedContentSize = Qt.size(content.width, content.height)
    }
    Component.onCompleted: reportSize()
}
