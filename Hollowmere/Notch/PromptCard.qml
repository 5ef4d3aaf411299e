// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// A Claude Code hook waiting for the user: which session asks, what the tool is about to do, and
// the answers as buttons with keys. The keys act while the notch panel is the key window (the
// user clicked it); the panel never takes the keyboard by itself.
Item {
    id: root
    property SessionStore store
    property string sessionId
    readonly property alias model: cardModel

    implicitWidth: 508
    implicitHeight: column.implicitHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: cardModel.accessibleName

    PromptCardModel {
        id: cardModel
        store: root.store
        sessionId: root.sessionId
    }

    Column {
        id: column
        width: parent.width
        spacing: cardModel.spacing

        // Header: badge, title over subtitle, age at the trailing edge.
        Item {
            width: parent.width
            height: Math.max(cardModel.badgeSize, titles.implicitHeight)
            IconBadge {
                id: badge
                anchors.verticalCenter: parent.verticalCenter
                size: cardModel.badgeSize
                corner: cardModel.badgeCorner
            }
            Column {
                id: titles
                anchors.left: badge.right
                anchors.leftMargin: cardModel.spacing
                anchors.right: age.left
                anchors.rightMargin: cardModel.spacing
                anchors.verticalCenter: parent.verticalCenter
                spacing: 1
                Text {
                    objectName: "headerTitle"
                    width: parent.width
                    text: cardModel.headerTitle
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    color: "white"
                    font.pixelSize: cardModel.titleSize
                    font.weight: Font.DemiBold
                }
                Text {
                    objectName: "headerSubtitle"
                    width: parent.width
                    text: cardModel.headerSubtitle
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    color: NotchPalette.mutedText
                    font.pixelSize: cardModel.subtitleSize
                    font.weight: Font.Medium
                }
            }
            Text {
                id: age
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: cardModel.timeAgo
                color: NotchPalette.mutedText
                font.pixelSize: cardModel.subtitleSize
                font.weight: Font.Medium
            }
        }

        // Body, by what the hook is about.
        Column {
            width: parent.width
            visible: cardModel.hasBody
            spacing: 8

            Text {
                objectName: "bodyMessage"
                width: parent.width
                visible: text.length > 0
                         && (cardModel.bodyKind === "message" || cardModel.bodyKind === "question")
                text: cardModel.message
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                maximumLineCount: cardModel.messageLineLimit
                elide: Text.ElideRight
                color: cardModel.messageColor
                font.pixelSize: cardModel.messageSize
            }
            Text {
                objectName: "bodyPath"
                width: parent.width
                visible: text.length > 0
                text: cardModel.path
                textFormat: Text.PlainText
                elide: Text.ElideMiddle
                color: NotchPalette.mutedText
                font.pixelSize: cardModel.pathSize
                font.family: cardModel.codeFontFamily
            }
            PromptCodeBlock {
                objectName: "codeBlock"
                width: parent.width
                visible: cardModel.codeLines.length > 0
                style: cardModel
                lines: cardModel.codeLines
            }
            Text {
                objectName: "bodyDescription"
                width: parent.width
                visible: text.length > 0
                text: cardModel.description
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
                color: NotchPalette.mutedText
                font.pixelSize: cardModel.pathSize
            }

            // A question's options: choosing one answers it.
            Column {
                width: parent.width
                spacing: 4
                Repeater {
                    model: cardModel.options
                    delegate: Item {
                        id: option
                        required property int index
                        required property string modelData
                        readonly property string number: String(index + 1)
                        width: parent.width
                        height: Math.max(cardModel.optionCircle, optionLabel.implicitHeight) + 10
                        Accessible.role: Accessible.Button
                        Accessible.name: modelData
                        Accessible.description: index < 9 ? number : ""
                        Accessible.onPressAction: cardModel.chooseOption(index)

                        Rectangle {
                            anchors.fill: parent
                            radius: 8
                            color: optionMouse.containsMouse ? NotchPalette.chipFill : "transparent"
                        }
                        Rectangle {
                            id: circle
                            x: 4
                            anchors.verticalCenter: parent.verticalCenter
                            width: cardModel.optionCircle
                            height: width
                            radius: width / 2
                            color: cardModel.optionCircleFill
                            Text {
                                anchors.centerIn: parent
                                text: option.number
                                color: "white"
                                font.pixelSize: cardModel.optionNumberSize
                                font.bold: true
                            }
                        }
                        Text {
                            id: optionLabel
                            anchors.left: circle.right
                            anchors.leftMargin: 10
                            anchors.right: parent.right
                            anchors.verticalCenter: parent.verticalCenter
                            text: option.modelData
                            textFormat: Text.PlainText
                            elide: Text.ElideRight
                            color: "white"
                            font.pixelSize: cardModel.optionLabelSize
                            font.weight: Font.Medium
                        }
                        MouseArea {
                            id: optionMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            cursorShape: Qt.PointingHandCursor
                            onClicked: cardModel.chooseOption(option.index)
                        }
                        Shortcut {
                            sequence: option.number
                            enabled: option.index < 9 && root.visible
                            onActivated: cardModel.chooseOption(option.index)
                        }
                    }
                }
            }

            // Suggestions the user may send to the session's terminal.
            Flow {
                width: parent.width
                spacing: 6
                Repeater {
                    model: cardModel.chips
                    delegate: Rectangle {
                        required property int index
                        required property string modelData
                        width: chipText.implicitWidth + 2 * cardModel.chipPaddingH
                        height: chipText.implicitHeight + 2 * cardModel.chipPaddingV
                        radius: height / 2
                        color: NotchPalette.chipFill
                        border.color: NotchPalette.opacity("white", 0.25)
                        border.width: 1
                        Accessible.role: Accessible.Button
                        Accessible.name: modelData
                        Accessible.onPressAction: cardModel.chooseSuggestion(index)
                        Text {
                            id: chipText
                            anchors.centerIn: parent
                            text: parent.modelData
                            textFormat: Text.PlainText
                            color: "white"
                            font.pixelSize: cardModel.chipTextSize
                            font.weight: Font.Medium
                        }
                        MouseArea {
                            anchors.fill: parent
                            cursorShape: Qt.PointingHandCursor
                            onClicked: cardModel.chooseSuggestion(parent.index)
                        }
                    }
                }
            }
        }

        // The answers, left to right.
        Row {
            spacing: cardModel.buttonSpacing
            Repeater {
                model: cardModel.buttons
                delegate: NotchActionButton {
                    required property int index
                    required property var modelData
                    style: cardModel
                    label: modelData.label
                    shortcutLabel: modelData.shortcutLabel
                    primary: modelData.primary
                    onActivated: cardModel.press(index)
                    Shortcut {
                        sequence: modelData.sequence
                        enabled: sequence.length > 0 && root.visible
                        onActivated: cardModel.press(index)
                    }
                }
            }
        }
    }
}
