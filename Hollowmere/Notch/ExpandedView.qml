// SPDX-License-Identifier: MIT
import QtQuick
import NotchKit
import Hollowmere.Notch

// The open notch: the session list, or the prompt card for the first prompt waiting. The list
// stays alive behind a card, so its open row is still open when the card goes.
Item {
    id: root
    property SessionStore sessions
    readonly property alias model: summary
    readonly property alias listCard: listCard

    readonly property real contentWidth: summary.expandedWidth - 2 * summary.expandedPadding
    implicitWidth: summary.expandedWidth
    implicitHeight: (summary.isPromptCard && cardLoader.item ? cardLoader.item.implicitHeight
                                                             : listCard.implicitHeight)
                    + 2 * summary.expandedPadding
    Behavior on implicitWidth { NotchNumberAnimation { curve: summary.switchAnimation } }

    Accessible.role: Accessible.Pane
    Accessible.name: summary.accessibleName

    SessionsModel {
        id: summary
        store: root.sessions
    }

    SessionListCard {
        id: listCard
        x: summary.expandedPadding
        y: summary.expandedPadding
        width: root.contentWidth
        sessions: root.sessions
        visible: opacity > 0
        opacity: summary.isPromptCard ? 0 : 1
        Behavior on opacity { NotchNumberAnimation { curve: summary.switchAnimation } }
    }

    Loader {
        id: cardLoader
        objectName: "promptCardLoader"
        x: summary.expandedPadding
        y: summary.expandedPadding
        width: root.contentWidth
        active: summary.isPromptCard
        sourceComponent: PromptCard {
            width: cardLoader.width
            store: root.sessions
            sessionId: summary.firstPendingSessionId
        }
    }
}
