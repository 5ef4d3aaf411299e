// SPDX-License-Identifier: MIT
#pragma once

#include "NotchAnimation.h"
#include "Sessions/SessionStore.h"

#include <QColor>
#include <QObject>
#include <QPointer>
#include <QtQml/qqml.h>

// What the compact sides and the expanded view show of the store as a whole: counts, the accent
// of the leading mark, the trailing symbol, the list's subtitle, whether a prompt card is up and
// whether anything needs the ornaments to move.
class SessionsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(SessionStore* store READ store WRITE setStore NOTIFY storeChanged)

    Q_PROPERTY(int sessionCount READ sessionCount NOTIFY changed)
    Q_PROPERTY(int pendingCount READ pendingCount NOTIFY changed)
    Q_PROPERTY(int workingCount READ workingCount NOTIFY changed)
    Q_PROPERTY(bool anyPending READ anyPending NOTIFY changed)
    Q_PROPERTY(bool anyWorking READ anyWorking NOTIFY changed)
    Q_PROPERTY(bool anyJustFinished READ anyJustFinished NOTIFY changed)
    // The halo and pulse move only while a prompt waits or a session works.
    Q_PROPERTY(bool needsAttention READ needsAttention NOTIFY changed)
    Q_PROPERTY(QColor compactAccent READ compactAccent NOTIFY changed)
    // "bell", "working", "finished" or "ellipsis".
    Q_PROPERTY(QString trailingKind READ trailingKind NOTIFY changed)
    Q_PROPERTY(QString trailingSymbol READ trailingSymbol NOTIFY changed)
    Q_PROPERTY(QColor trailingColor READ trailingColor NOTIFY changed)
    Q_PROPERTY(QString trailingAccessibleName READ trailingAccessibleName NOTIFY changed)
    Q_PROPERTY(QString tapHint READ tapHint CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString workingLabel READ workingLabel CONSTANT)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY changed)
    Q_PROPERTY(QString accessibleName READ accessibleName NOTIFY changed)
    Q_PROPERTY(bool isPromptCard READ isPromptCard NOTIFY changed)
    Q_PROPERTY(QString firstPendingSessionId READ firstPendingSessionId NOTIFY changed)

    // The compact leading side.
    Q_PROPERTY(qreal leadingPadding MEMBER leadingPadding CONSTANT)
    Q_PROPERTY(qreal haloSize MEMBER haloSize CONSTANT)
    Q_PROPERTY(qreal haloOpacity MEMBER haloOpacity CONSTANT)
    Q_PROPERTY(qreal haloScaleTo MEMBER haloScaleTo CONSTANT)
    Q_PROPERTY(qreal haloFadeFrom MEMBER haloFadeFrom CONSTANT)
    Q_PROPERTY(int haloPeriodMs MEMBER haloPeriodMs CONSTANT)
    Q_PROPERTY(qreal markSize MEMBER markSize CONSTANT)
    Q_PROPERTY(qreal markShadowOpacity MEMBER markShadowOpacity CONSTANT)
    Q_PROPERTY(qreal markShadowRadius MEMBER markShadowRadius CONSTANT)
    Q_PROPERTY(qreal markRotation READ markRotation NOTIFY changed)
    Q_PROPERTY(qreal trailingSymbolSize MEMBER trailingSymbolSize CONSTANT)
    // The expanded view.
    Q_PROPERTY(qreal expandedWidth READ expandedWidth NOTIFY changed)
    Q_PROPERTY(qreal expandedPadding MEMBER expandedPadding CONSTANT)
    // Between the list and the prompt card, and the mark's turn while a prompt waits.
    Q_PROPERTY(NotchAnimation switchAnimation READ switchAnimation CONSTANT)
    Q_PROPERTY(NotchAnimation markAnimation READ markAnimation CONSTANT)
public:
    static constexpr qreal leadingPadding = 8;
    static constexpr qreal haloSize = 16;
    static constexpr qreal haloOpacity = 0.28;
    static constexpr qreal haloScaleTo = 1.6;
    static constexpr qreal haloFadeFrom = 0.8;
    static constexpr int haloPeriodMs = 1400;
    static constexpr qreal markSize = 12;
    static constexpr qreal markShadowOpacity = 0.9;
    static constexpr qreal markShadowRadius = 3;
    // pi/8 radians while a prompt waits.
    static constexpr qreal pendingRotation = 22.5;
    static constexpr qreal trailingSymbolSize = 12;
    static constexpr qreal listWidth = 460;
    static constexpr qreal promptWidth = 520;
    static constexpr qreal expandedPadding = 6;

    explicit SessionsModel(QObject* parent = nullptr);

    SessionStore* store() const { return m_store; }
    void setStore(SessionStore* store);

    int sessionCount() const { return m_sessionCount; }
    int pendingCount() const { return m_pendingCount; }
    int workingCount() const { return m_workingCount; }
    bool anyPending() const { return m_pendingCount > 0; }
    bool anyWorking() const { return m_workingCount > 0; }
    bool anyJustFinished() const { return m_anyJustFinished; }
    bool needsAttention() const { return anyPending() || anyWorking(); }
    QColor compactAccent() const;
    QString trailingKind() const;
    QString trailingSymbol() const;
    QColor trailingColor() const;
    QString trailingAccessibleName() const;
    QString tapHint() const { return QStringLiteral("Shows the sessions"); }
    QString title() const { return QStringLiteral("Claude Code"); }
    QString workingLabel() const { return QStringLiteral("working"); }
    QString subtitle() const;
    QString accessibleName() const;
    bool isPromptCard() const { return anyPending(); }
    QString firstPendingSessionId() const { return m_firstPending; }
    qreal markRotation() const { return anyPending() ? pendingRotation : 0; }
    qreal expandedWidth() const { return isPromptCard() ? promptWidth : listWidth; }
    static NotchAnimation switchAnimation() { return NotchAnimation::spring(0.42, 0.84); }
    static NotchAnimation markAnimation() { return NotchAnimation::spring(0.5, 1.0); }

signals:
    void storeChanged();
    void changed();

private:
    void refresh();

    QPointer<SessionStore> m_store;
    int m_sessionCount = 0;
    int m_pendingCount = 0;
    int m_workingCount = 0;
    bool m_anyJustFinished = false;
    QString m_firstPending;
};
