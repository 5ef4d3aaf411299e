// SPDX-License-Identifier: MIT
#include "Notch/SessionsModel.h"

#include "Notch/SessionPresentation.h"

namespace SP = SessionPresentation;

SessionsModel::SessionsModel(QObject* parent) : QObject(parent) {}

void SessionsModel::setStore(SessionStore* store) {
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    if (store)
        connect(store, &SessionStore::sessionsChanged, this, &SessionsModel::refresh);
    emit storeChanged();
    refresh();
}

void SessionsModel::refresh() {
    int sessions = 0, pending = 0, working = 0;
    bool justFinished = false;
    QString firstPending;
    if (m_store) {
        sessions = int(m_store->sessions().size());
        for (const auto& [id, s] : m_store->sessions()) {
            working += s.status.kind == Status::Kind::working ? 1 : 0;
            justFinished |= s.justFinishedAt.has_value();
        }
        const std::vector<Session> waiting = m_store->pending();
        pending = int(waiting.size());
        if (!waiting.empty())
            firstPending = waiting.front().sessionId;
    }
    // Views redraw only when something they show changed.
    if (sessions == m_sessionCount && pending == m_pendingCount && working == m_workingCount &&
        justFinished == m_anyJustFinished && firstPending == m_firstPending)
        return;
    m_sessionCount = sessions;
    m_pendingCount = pending;
    m_workingCount = working;
    m_anyJustFinished = justFinished;
    m_firstPending = firstPending;
    emit changed();
}

QColor SessionsModel::compactAccent() const {
    return SP::compactAccent(anyPending(), m_anyJustFinished);
}

QString SessionsModel::trailingKind() const {
    switch (SP::trailing(anyPending(), anyWorking(), m_anyJustFinished)) {
    case SP::Trailing::bell:
        return QStringLiteral("bell");
    case SP::Trailing::working:
        return QStringLiteral("working");
    case SP::Trailing::finished:
        return QStringLiteral("finished");
    case SP::Trailing::ellipsis:
        break;
    }
    return QStringLiteral("ellipsis");
}

QString SessionsModel::trailingSymbol() const {
    return SP::trailingSymbol(SP::trailing(anyPending(), anyWorking(), m_anyJustFinished));
}

QColor SessionsModel::trailingColor() const {
    return SP::trailingColor(SP::trailing(anyPending(), anyWorking(), m_anyJustFinished));
}

QString SessionsModel::subtitle() const {
    return SP::subtitle(m_pendingCount, m_workingCount, m_sessionCount);
}

QString SessionsModel::accessibleName() const {
    return SP::notchAccessibleName(m_pendingCount, m_workingCount, m_sessionCount);
}

QString SessionsModel::trailingAccessibleName() const {
    switch (SP::trailing(anyPending(), anyWorking(), m_anyJustFinished)) {
    case SP::Trailing::bell:
        return SP::statusStyle(SP::UIStatus::waiting).chipLabel;
    case SP::Trailing::working:
        return workingLabel();
    case SP::Trailing::finished:
        return SP::statusStyle(SP::UIStatus::done).chipLabel;
    case SP::Trailing::ellipsis:
        break;
    }
    return SP::statusStyle(SP::UIStatus::idle).chipLabel;
}
