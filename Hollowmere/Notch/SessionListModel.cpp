// SPDX-License-Identifier: MIT
#include "Notch/SessionListModel.h"

#include "ClaudeIntegration/TerminalFocusService.h"
#include "Notch/NotchPalette.h"
#include "Notch/RelativeTime.h"

#include <algorithm>

namespace SP = SessionPresentation;

SessionListModel::SessionListModel(QObject* parent) : SessionListModel(Environment{}, parent) {}

SessionListModel::SessionListModel(Environment env, QObject* parent)
    : QAbstractListModel(parent), m_env(std::move(env)) {
    if (!m_env.now)
        m_env.now = [] { return QDateTime::currentDateTimeUtc(); };
    if (!m_env.jump)
        m_env.jump = TerminalFocusService::jump;
    m_ageTimer.setSingleShot(true);
    connect(&m_ageTimer, &QTimer::timeout, this, &SessionListModel::refresh);
}

void SessionListModel::setStore(SessionStore* store) {
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    if (store)
        connect(store, &SessionStore::sessionsChanged, this, &SessionListModel::refresh);
    emit storeChanged();
    refresh();
}

SessionListModel::Row SessionListModel::rowFor(const Session& s, const QDateTime& now) const {
    Row row;
    row.sessionId = s.sessionId;
    row.project = SP::projectName(s.cwd);
    row.status = SP::uiStatus(s);
    row.terminalLabel = TerminalFocusService::terminalLabel(s.lastTerminalBundleId);
    row.terminalIcon = TerminalFocusService::terminalIcon(s.lastTerminalBundleId);
    row.timeAgo = RelativeTime::text(RelativeTime::elapsedSeconds(s.lastEvent, now));
    row.preview = SP::activityPreview(s).value_or(QString());
    return row;
}

void SessionListModel::refresh() {
    const QDateTime now = m_env.now();
    std::vector<Row> rows;
    if (m_store) {
        for (const Session& s : m_store->allSorted())
            rows.push_back(rowFor(s, now));
    }
    const int before = count();
    apply(std::move(rows));
    if (count() != before)
        emit countChanged();
    scheduleAgeRefresh(now);
}

void SessionListModel::apply(std::vector<Row> rows) {
    auto has = [&rows](const QString& id) {
        return std::any_of(rows.begin(), rows.end(),
                           [&id](const Row& r) { return r.sessionId == id; });
    };
    for (int i = int(m_rows.size()) - 1; i >= 0; --i) {
        if (has(m_rows[size_t(i)].sessionId))
            continue;
        beginRemoveRows({}, i, i);
        m_rows.erase(m_rows.begin() + i);
        endRemoveRows();
    }
    for (int i = 0; i < int(rows.size()); ++i) {
        const Row& want = rows[size_t(i)];
        if (i >= int(m_rows.size()) || m_rows[size_t(i)].sessionId != want.sessionId) {
            const auto found =
                std::find_if(m_rows.begin() + i, m_rows.end(),
                             [&want](const Row& r) { return r.sessionId == want.sessionId; });
            if (found == m_rows.end()) {
                beginInsertRows({}, i, i);
                m_rows.insert(m_rows.begin() + i, want);
                endInsertRows();
                continue;
            }
            // Moved up: the row keeps its view.
            const int from = int(found - m_rows.begin());
            beginMoveRows({}, from, from, {}, i);
            Row moved = *found;
            m_rows.erase(found);
            m_rows.insert(m_rows.begin() + i, std::move(moved));
            endMoveRows();
        }
        if (!(m_rows[size_t(i)] == want)) {
            m_rows[size_t(i)] = want;
            emit dataChanged(index(i), index(i));
        }
    }
}

void SessionListModel::scheduleAgeRefresh(const QDateTime& now) {
    m_ageTimer.stop();
    if (!m_store || m_rows.empty())
        return;
    qint64 soonest = -1;
    for (const auto& [id, s] : m_store->sessions()) {
        const qint64 wait =
            RelativeTime::secondsUntilChange(RelativeTime::elapsedSeconds(s.lastEvent, now));
        if (wait > 0 && (soonest < 0 || wait < soonest))
            soonest = wait;
    }
    // A little after the second turns, so the new text is there when the timer fires.
    if (soonest > 0)
        m_ageTimer.start(std::chrono::milliseconds(soonest * 1000 + 50));
}

int SessionListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant SessionListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= count())
        return {};
    const Row& row = m_rows[size_t(index.row())];
    const SP::StatusStyle style = SP::statusStyle(row.status);
    switch (role) {
    case SessionIdRole:
        return row.sessionId;
    case ProjectRole:
    case Qt::DisplayRole:
        return row.project;
    case StatusRole:
        return SP::statusName(row.status);
    case BadgeSymbolRole:
        return style.badgeSymbol;
    case SymbolColorRole:
        return style.symbolColor;
    case BadgeFillRole:
        return style.badgeFill;
    case BadgeShadowRole:
        return style.badgeShadow;
    case ShadowRadiusRole:
        return style.shadowRadius;
    case ShadowOffsetYRole:
        return style.shadowOffset.y();
    case ChipLabelRole:
        return style.chipLabel;
    case ChipColorRole:
        return style.chipColor;
    case TypingDotsRole:
        return style.typingDots;
    case PulseDotRole:
        return style.pulseDot;
    case TerminalLabelRole:
        return row.terminalLabel.value_or(QString());
    case TerminalIconRole:
        return row.terminalIcon;
    case TimeAgoRole:
        return row.timeAgo;
    case PreviewRole:
        return row.preview;
    case HelpTextRole:
        return SP::helpText(row.project, row.terminalLabel, false);
    case OpenHelpTextRole:
        return SP::helpText(row.project, row.terminalLabel, true);
    case AccessibleNameRole:
        return SP::rowAccessibleName(row.project, row.status);
    default:
        return {};
    }
}

QHash<int, QByteArray> SessionListModel::roleNames() const {
    return {{SessionIdRole, "sessionId"},
            {ProjectRole, "project"},
            {StatusRole, "status"},
            {BadgeSymbolRole, "badgeSymbol"},
            {SymbolColorRole, "symbolColor"},
            {BadgeFillRole, "badgeFill"},
            {BadgeShadowRole, "badgeShadow"},
            {ShadowRadiusRole, "shadowRadius"},
            {ShadowOffsetYRole, "shadowOffsetY"},
            {ChipLabelRole, "chipLabel"},
            {ChipColorRole, "chipColor"},
            {TypingDotsRole, "typingDots"},
            {PulseDotRole, "pulseDot"},
            {TerminalLabelRole, "terminalLabel"},
            {TerminalIconRole, "terminalIcon"},
            {TimeAgoRole, "timeAgo"},
            {PreviewRole, "preview"},
            {HelpTextRole, "helpText"},
            {OpenHelpTextRole, "openHelpText"},
            {AccessibleNameRole, "accessibleName"}};
}

void SessionListModel::tap(const QString& sessionId) {
    if (sessionId.isEmpty())
        return;
    if (sessionId != m_expandedSessionId) {
        setExpandedSessionId(sessionId);
        return;
    }
    if (const Session* s = m_store ? m_store->session(sessionId) : nullptr)
        m_env.jump(*s);
}

void SessionListModel::collapse() {
    setExpandedSessionId({});
}

void SessionListModel::setExpandedSessionId(const QString& id) {
    if (m_expandedSessionId == id)
        return;
    m_expandedSessionId = id;
    emit expandedSessionIdChanged();
}

QColor SessionListModel::metaColor() {
    return NotchPalette::opacity(Qt::white, 0.55f);
}

QColor SessionListModel::previewColor() {
    return NotchPalette::opacity(Qt::white, 0.7f);
}

QColor SessionListModel::collapseSymbolColor() {
    return NotchPalette::opacity(Qt::white, 0.65f);
}

QColor SessionListModel::collapseFill() {
    return NotchPalette::opacity(Qt::white, 0.1f);
}

QColor SessionListModel::rowFill(bool expanded, bool hovered) {
    return SP::rowFill(expanded, hovered);
}

QColor SessionListModel::rowBorder(bool expanded, bool hovered) {
    return SP::rowBorder(expanded, hovered);
}
