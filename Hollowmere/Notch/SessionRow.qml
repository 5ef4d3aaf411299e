// SPDX-License-Identifier: MIT
import QtQuick
import QtQuick.Controls
import NotchKit
import Hollowmere.Notch

// One session in the expanded list. Closed it shows the badge, project, status chip, terminal and
// age; open it adds what the user last asked and a hint that a click opens the terminal. A tap
// anywhere on the row is the list's (open, or jump when open); only the chevron closes it.
Item {
    id: row
    required property SessionListModel list
    required property string sessionId
    required property string project
    required property string status
    required property string badgeSymbol
    required property color symbolColor
    required property color badgeFill
    required property color badgeShadow
    required property real shadowRadius
    required property real shadowOffsetY
    required property string chipLabel
    required property color chipColor
    required property bool typingDots
    required property bool pulseDot
    required property string terminalLabel
    required property string terminalIcon
    required property string timeAgo
    required property string preview
    required property string helpText
    required property string openHelpText
    required property string accessibleName
    required property bool isExpanded
    readonly property bool hovering: hover.hovered

    signal tapped()
    signal collapseRequested()

    readonly property real paddingV: isExpanded ? list.openRowPaddingV : list.closedRowPaddingV
    implicitHeight: body.implicitHeight + 2 * paddingV
    Behavior on implicitHeight { NotchNumberAnimation { curve: row.list.openAnimation } }

    Accessible.role: Accessible.Button
    Accessible.name: row.accessibleName
    Accessible.description: row.isExpanded ? row.openHelpText : row.helpText
    Accessible.onPressAction: row.tapped()

    ToolTip.visible: hover.hovered && !chevronHover.hovered
    ToolTip.delay: 800
    ToolTip.text: Accessible.description

    HoverHandler { id: hover }

    Rectangle {
        objectName: "rowBackground"
        anchors.fill: parent
        radius: row.list.rowCorner
        color: row.list.rowFill(row.isExpanded, row.hovering)
        border.width: row.list.rowBorderWidth
        border.color: row.list.rowBorder(row.isExpanded, row.hovering)
    }

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: row.tapped()
    }

    Column {
        id: body
        x: row.list.rowPaddingH
        y: row.paddingV
        width: row.width - 2 * row.list.rowPaddingH
        spacing: 6

        Item {
            width: parent.width
            height: Math.max(badge.height, titles.implicitHeight)

            SessionStatusBadge {
                id: badge
                anchors.verticalCenter: parent.verticalCenter
                symbol: row.badgeSymbol
                symbolColor: row.symbolColor
                fill: row.badgeFill
                shadowColor: row.badgeShadow
                shadowRadius: row.shadowRadius
                shadowOffsetY: row.shadowOffsetY
                size: row.list.badgeSize
                corner: row.list.badgeCorner
                symbolSize: row.list.badgeSymbolSize
            }

            Column {
                id: titles
                anchors.left: badge.right
                anchors.leftMargin: 10
                anchors.right: age.left
                anchors.rightMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                spacing: 4

                Text {
                    objectName: "projectName"
                    width: parent.width
                    text: row.project
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    color: "white"
                    font.pixelSize: row.list.projectSize
                    font.weight: Font.DemiBold
                }
                Row {
                    spacing: 6
                    // The status chip: pulse dot, label, typing dots, on a faint capsule.
                    Item {
                        objectName: "statusChip"
                        implicitWidth: chipRow.implicitWidth + 2 * row.list.chipPaddingH
                        implicitHeight: chipRow.implicitHeight + 2 * row.list.chipPaddingV
                        Rectangle {
                            anchors.fill: parent
                            radius: height / 2
                            color: Qt.rgba(row.chipColor.r, row.chipColor.g, row.chipColor.b,
                                           row.list.chipFillOpacity)
                        }
                        Row {
                            id: chipRow
                            anchors.centerIn: parent
                            spacing: 4
                            PulseDot {
                                anchors.verticalCenter: parent.verticalCenter
                                visible: row.pulseDot
                                color: row.chipColor
                            }
                            Text {
                                anchors.verticalCenter: parent.verticalCenter
                                text: row.chipLabel
                                color: row.chipColor
                                font.pixelSize: row.list.chipTextSize
                                font.weight: Font.DemiBold
                            }
                            TypingDots {
                                anchors.verticalCenter: parent.verticalCenter
                                visible: row.typingDots
                                color: row.chipColor
                            }
                        }
                    }
                    // The terminal the session runs in.
                    Row {
                        objectName: "terminalChip"
                        anchors.verticalCenter: parent.verticalCenter
                        leftPadding: row.list.chipPaddingH
                        rightPadding: row.list.chipPaddingH
                        spacing: 4
                        Image {
                            anchors.verticalCenter: parent.verticalCenter
                            width: row.list.metaSymbolSize
                            height: width
                            sourceSize.width: width * 4
                            sourceSize.height: height * 4
                            source: UIPrimitives.symbolSource(row.terminalIcon, row.list.metaColor)
                        }
                        Text {
                            anchors.verticalCenter: parent.verticalCenter
                            visible: text.length > 0
                            text: row.terminalLabel
                            color: row.list.metaColor
                            font.pixelSize: row.list.metaTextSize
                            font.weight: Font.Medium
                        }
                    }
                }
            }

            Text {
                id: age
                objectName: "timeAgo"
                anchors.right: parent.right
                anchors.rightMargin: row.isExpanded ? row.list.collapseSize + 4 : 0
                anchors.top: parent.top
                text: row.timeAgo
                color: row.list.metaColor
                font.pixelSize: row.list.timeAgoSize
                font.weight: Font.Medium
            }
        }

        Text {
            objectName: "activityPreview"
            visible: row.isExpanded && row.preview.length > 0
            width: parent.width
            topPadding: 1
            text: row.preview
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
            color: row.list.previewColor
            font.pixelSize: row.list.previewSize
        }

        Row {
            objectName: "openHint"
            visible: row.isExpanded
            spacing: 4
            Image {
                anchors.verticalCenter: parent.verticalCenter
                width: row.list.openHintSymbolSize
                height: width
                sourceSize.width: width * 4
                sourceSize.height: height * 4
                source: UIPrimitives.symbolSource("arrow.up.right", NotchPalette.accent)
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: row.list.openHint
                color: NotchPalette.accent
                font.pixelSize: row.list.openHintTextSize
                font.weight: Font.Medium
            }
        }
    }

    // The chevron: the one way to close an open row.
    Item {
        id: chevron
        objectName: "collapseButton"
        visible: row.isExpanded
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.topMargin: row.list.collapseInset
        anchors.rightMargin: row.list.collapseInset
        width: row.list.collapseSize
        height: row.list.collapseSize

        Accessible.role: Accessible.Button
        Accessible.name: row.list.collapseHelp
        Accessible.onPressAction: row.collapseRequested()
        ToolTip.visible: chevronHover.hovered
        ToolTip.delay: 800
        ToolTip.text: row.list.collapseHelp

        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: row.list.collapseFill
        }
        Image {
            anchors.centerIn: parent
            width: row.list.collapseSymbolSize
            height: width
            sourceSize.width: width * 4
            sourceSize.height: height * 4
            source: UIPrimitives.symbolSource("chevron.up", row.list.collapseSymbolColor)
        }
        HoverHandler { id: chevronHover }
        MouseArea {
            anchors.fill: parent
            cursorShape: Qt.PointingHandCursor
            onClicked: row.collapseRequested()
        }
    }
}
