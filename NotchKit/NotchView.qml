// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Qt5Compat.GraphicalEffects

// The notch style: a black body hanging from the top edge, grown out of the camera housing,
// with the compact sides left and right of it and the expanded content below it.
Item {
    id: view

    required property NotchSurface surface
    required property NotchLayout layout
    property real shadowOpacity: 0
    property real shadowRadius: 0
    readonly property bool masksContent: GraphicsInfo.api !== GraphicsInfo.Software

    // Beside the straight sides and the bottom; the flares at the top blend into the edge.
    NotchShadow {
        x: body.x + body.topRadius
        width: Math.max(0, body.width - 2 * body.topRadius)
        height: body.height
        glowRadius: view.shadowRadius
        shadowOpacity: view.shadowOpacity
        shapeRadius: body.bottomRadius
    }

    Item {
        id: body
        objectName: "notchBody"
        y: 0
        x: view.layout.bodyRect.x
        width: view.layout.bodyRect.width
        height: view.layout.bodyRect.height
        property real topRadius: view.layout.topCornerRadius
        property real bottomRadius: view.layout.bottomCornerRadius
        property real padding: view.layout.horizontalPadding

        Behavior on x { NotchNumberAnimation { curve: view.layout.bodyAnimation } }
        Behavior on width { NotchNumberAnimation { curve: view.layout.bodyAnimation } }
        Behavior on height { NotchNumberAnimation { curve: view.layout.bodyAnimation } }
        Behavior on topRadius { NotchNumberAnimation { curve: view.layout.bodyAnimation } }
        Behavior on bottomRadius { NotchNumberAnimation { curve: view.layout.bodyAnimation } }
        Behavior on padding { NotchNumberAnimation { curve: view.layout.bodyAnimation } }

        NotchShape {
            id: outline
            anchors.fill: parent
            layout: view.layout
            topCornerRadius: body.topRadius
            bottomCornerRadius: body.bottomRadius
            color: view.layout.bodyColor
        }

        HoverHandler {
            onHoveredChanged: view.surface.updateHoverState(hovered)
        }
        TapHandler {
            acceptedButtons: Qt.RightButton
            onTapped: view.surface.requestContextMenu(point.scenePosition)
        }

        // Content is cut to the outline; the software renderer, which has no shader effects,
        // can only cut to the body's rectangle.
        Item {
            id: inner
            anchors.fill: parent
            clip: !view.masksContent
            layer.enabled: view.masksContent
            layer.effect: OpacityMask {
                maskSource: outline
            }

            NotchContentSlot {
                id: leading
                objectName: "compactLeading"
                content: view.surface ? view.surface.compactLeadingContent : null
                section: 1
                surface: view.surface
                x: body.padding
                y: (view.layout.compactRowHeight - height) / 2
                shown: view.layout.showsLeading
                hiddenScale: view.layout.compactTransitionScale
                blurRadius: view.layout.transitionBlur
                transformOrigin: Item.Left
                onWidthChanged: view.layout.compactLeadingWidth = width
                onHeightChanged: view.reportCompactHeight()
            }

            NotchContentSlot {
                id: trailing
                objectName: "compactTrailing"
                content: view.surface ? view.surface.compactTrailingContent : null
                section: 2
                surface: view.surface
                x: body.padding + view.layout.compactLeadingWidth + view.layout.notchWidth
                y: (view.layout.compactRowHeight - height) / 2
                shown: view.layout.showsTrailing
                hiddenScale: view.layout.compactTransitionScale
                blurRadius: view.layout.transitionBlur
                transformOrigin: Item.Right
                onWidthChanged: view.layout.compactTrailingWidth = width
                onHeightChanged: view.reportCompactHeight()
            }

            NotchContentSlot {
                id: expanded
                objectName: "expandedContent"
                content: view.surface ? view.surface.expandedContent : null
                section: 0
                surface: view.surface
                x: (body.width - width) / 2
                y: view.layout.notchHeight
                shown: view.layout.showsExpanded
                hiddenScale: view.layout.expandedTransitionScale
                blurRadius: view.layout.transitionBlur
                transformOrigin: Item.Top
                onWidthChanged: view.reportExpandedSize()
                onHeightChanged: view.reportExpandedSize()
            }
        }
    }

    // What is drawn, frame by frame: the panel cuts its window to it where nothing composites.
    Binding {
        target: view.layout
        property: "drawnRect"
        value: Qt.rect(body.x, body.y, body.width, body.height)
    }
    Binding {
        target: view.layout
        property: "drawnTopRadius"
        value: body.topRadius
    }
    Binding {
        target: view.layout
        property: "drawnBottomRadius"
        value: body.bottomRadius
    }

    function reportCompactHeight() {
        layout.compactContentHeight = Math.max(leading.height, trailing.height)
    }
    function reportExpandedSize() {
        layout.expandedContentSize = Qt.size(expanded.width, expanded.height)
    }

    // A side switched back on reports its width again.
    Connections {
        target: view.surface
        function onDisableCompactLeadingChanged() { view.layout.compactLeadingWidth = leading.width }
        function onDisableCompactTrailingChanged() { view.layout.compactTrailingWidth = trailing.width }
    }

    Component.onCompleted: {
        layout.compactLeadingWidth = leading.width
        layout.compactTrailingWidth = trailing.width
        reportCompactHeight()
        reportExpandedSize()
    }
}
