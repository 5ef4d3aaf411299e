// SPDX-License-Identifier: MIT
import QtQuick
import Hollowmere.Notch

// The expanded notch without a prompt: "Claude Code" with a summary, over the sessions, newest
// first, one of them open at a time. The list scrolls past its maximum height.
Item {
    id: card
    property SessionStore sessions
    property real rowSpacing: 6
    readonly property alias list: rows
    readonly property alias summary: summary

    implicitWidth: 448
    implicitHeight: column.implicitHeight

    Accessible.role: Accessible.List
    Accessible.name: summary.accessibleName

    SessionsModel {
        id: summary
        store: card.sessions
    }
    SessionListModel {
        id: rows
        store: card.sessions
    }

    Column {
        id: column
        width: parent.width
        spacing: 10

        Row {
            spacing: 10
            leftPadding: 4
            IconBadge {
                anchors.verticalCenter: parent.verticalCenter
                size: 26
                corner: 7
            }
            Column {
                anchors.verticalCenter: parent.verticalCenter
                spacing: 1
                Text {
                    objectName: "listTitle"
                    text: summary.title
                    color: "white"
                    font.pixelSize: 14
                    font.weight: Font.DemiBold
                }
                Text {
                    objectName: "listSubtitle"
                    text: summary.subtitle
                    color: NotchPalette.mutedText
                    font.pixelSize: 11
                    font.weight: Font.Medium
                }
            }
        }

        ListView {
            id: listView
            objectName: "sessionList"
            width: parent.width
            height: Math.min(contentHeight, rows.maxListHeight)
            spacing: card.rowSpacing
            clip: true
            interactive: contentHeight > height
            boundsBehavior: Flickable.StopAtBounds
            model: rows
            delegate: SessionRow {
                width: ListView.view.width
                list: rows
                isExpanded: sessionId === rows.expandedSessionId
                onTapped: rows.tap(sessionId)
                onCollapseRequested: rows.collapse()
            }
        }
    }
}
