// SPDX-License-Identifier: MIT
#include "SessionStore.h"

#include <QTimer>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "AllowRules.h"
#include "ClaudeIntegration/HooksInstaller.h"
#include "ClaudeIntegration/SettingsWatcher.h"
#include "Platform/Sounds.h"

using nlohmann::json;
using std::chrono::steady_clock;

namespace {

constexpr size_t historyLimit = 20;
constexpr qint64 stopGraceMs = 2000;      // transcript writes this soon after a stop are its echo
constexpr qint64 staleStopMs = 60 * 1000; // a stop this old no longer holds a session idle
constexpr qsizetype commandSummaryLength = 60;

QString str(const std::string& s) {
    return QString::fromStdString(s);
}

std::optional<QString> str(const std::optional<std::string>& s) {
    if (!s)
        return std::nullopt;
    return QString::fromStdString(*s);
}

QString oneLine(QString text) {
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(u'\n', u' ');
    text.replace(u'\r', u' ');
    return text;
}

QString firstCharacters(const QString& text, qsizetype count) {
    QString head = text.left(count);
    if (!head.isEmpty() && head.back().isHighSurrogate())
        head.chop(1); // never cut a character in half
    return head;
}

QString summaryOf(const HookEvent& event) {
    switch (event.kind) {
    case HookEvent::Kind::stop:
        return QStringLiteral("Session ended");
    case HookEvent::Kind::notification:
        if (event.message && !event.message->empty())
            return oneLine(str(*event.message));
        return QStringLiteral("Notification");
    case HookEvent::Kind::permissionRequest:
        break;
    }
    const QString tool = str(event.tool).value_or(QString());
    json input = event.toolInput
                     ? json::parse(*event.toolInput, nullptr, /*allow_exceptions=*/false)
                     : json();
    if (input.is_object()) {
        auto command = input.find("command");
        if (tool == QLatin1String("Bash") && command != input.end() && command->is_string()) {
            return QStringLiteral("Bash: ") +
                   oneLine(firstCharacters(str(command->get<std::string>()), commandSummaryLength));
        }
        auto path = input.find("file_path");
        if (path != input.end() && path->is_string())
            return tool + QStringLiteral(": ") + oneLine(str(path->get<std::string>()));
    }
    return tool.isEmpty() ? QStringLiteral("Permission request") : tool;
}

template <typename T> void copyIfPresent(std::optional<T>& into, const std::optional<T>& from) {
    if (from)
        into = from;
}

SessionStore::Environment withDefaults(SessionStore::Environment env) {
    if (env.settingsPath.isEmpty())
        env.settingsPath = HooksInstaller::settingsPath();
    if (!env.playSound)
        env.playSound = Sounds::play;
    if (!env.runningClaudeCwds)
        env.runningClaudeCwds = ClaudeProcesses::runningClaudeCwds;
    if (!env.addAllowRule)
        env.addAllowRule = HooksInstaller::addAllowRule;
    if (!env.now)
        env.now = [] { return QDateTime::currentDateTimeUtc(); };
    return env;
}

std::vector<Session> sortedNewestFirst(std::vector<Session> list,
                                       QDateTime (*key)(const Session&)) {
    std::stable_sort(list.begin(), list.end(),
                     [key](const Session& a, const Session& b) { return key(a) > key(b); });
    return list;
}

} // namespace

QDateTime dateFromWire(double seconds) {
    // Clamped so that a hostile timestamp cannot overflow the conversion.
    const double unixMs = std::clamp(seconds + referenceDateUnixOffset, -1e13, 1e13) * 1000.0;
    return QDateTime::fromMSecsSinceEpoch(std::isfinite(unixMs) ? qint64(std::llround(unixMs)) : 0,
                                          Qt::UTC);
}

SessionStore::SessionStore(QObject* parent) : SessionStore(Environment{}, parent) {}

SessionStore::SessionStore(Environment env, QObject* parent)
    : QObject(parent), m_env(withDefaults(std::move(env))) {}

SessionStore::~SessionStore() = default;

const Session* SessionStore::session(const QString& sessionId) const {
    auto it = m_sessions.find(sessionId);
    return it == m_sessions.end() ? nullptr : &it->second;
}

Session SessionStore::sessionOrNew(const QString& sessionId, const QString& cwd,
                                   const QDateTime& at) const {
    if (const Session* known = session(sessionId))
        return *known;
    Session fresh;
    fresh.sessionId = sessionId;
    fresh.cwd = cwd;
    fresh.lastEvent = at;
    return fresh;
}

bool SessionStore::store(Session updated) {
    auto it = m_sessions.find(updated.sessionId);
    if (it == m_sessions.end()) {
        const QString id = updated.sessionId;
        m_sessions.emplace(id, std::move(updated));
        return true;
    }
    if (it->second == updated)
        return false;
    it->second = std::move(updated);
    return true;
}

void SessionStore::remove(const QString& sessionId) {
    m_sessions.erase(sessionId);
    auto clear = m_justFinishedClears.find(sessionId);
    if (clear != m_justFinishedClears.end()) {
        clear->second.timer->stop();
        clear->second.timer->deleteLater();
        m_justFinishedClears.erase(clear);
    }
}

void SessionStore::handle(const HookEvent& event, Respond respond) {
    const QString id = str(event.sessionId);
    const QDateTime at = dateFromWire(event.timestamp);
    Session s = sessionOrNew(id, str(event.cwd), at);
    s.cwd = str(event.cwd);
    s.lastEvent = at;
    copyIfPresent(s.lastTerminalBundleId, str(event.terminalBundleId));
    copyIfPresent(s.lastTerminalPid, event.terminalPid);
    copyIfPresent(s.claudePid, event.claudePid);
    copyIfPresent(s.iTermSessionId, str(event.iTermSessionId));

    s.history.push_back({QUuid::createUuid(), at, event.kind, str(event.tool), summaryOf(event)});
    if (s.history.size() > historyLimit)
        s.history.erase(s.history.begin(), s.history.end() - historyLimit);

    HookDecision answer; // passthrough
    bool answerNow = true;
    switch (event.kind) {
    case HookEvent::Kind::notification:
        break;
    case HookEvent::Kind::stop: {
        const QDateTime now = m_env.now();
        s.status = Status::idle();
        s.justFinishedAt = now;
        s.lastStoppedAt = now;
        break;
    }
    case HookEvent::Kind::permissionRequest:
        if (matchesAllowRule(event)) {
            s.status = Status::working();
            answer.decision = HookDecision::Decision::approve;
        } else {
            // A prompt already pending here is dropped unanswered; its connection falls back to
            // passthrough when its wait ends.
            s.status = Status::waitingForUser({QUuid::createUuid(), event, std::move(respond)});
            s.justFinishedAt.reset();
            answerNow = false;
        }
        break;
    }

    store(std::move(s));
    // The waiting hook, and Claude Code behind it, need not wait for the chime or the views.
    if (answerNow && respond)
        respond(answer);
    if (event.kind == HookEvent::Kind::stop) {
        m_env.playSound(QStringLiteral("Glass"));
        scheduleJustFinishedClear(id);
    }
    emit sessionsChanged();
}

void SessionStore::scheduleJustFinishedClear(const QString& sessionId) {
    JustFinishedClear& clear = m_justFinishedClears[sessionId];
    clear.deadlines.push_back(steady_clock::now() + m_env.justFinishedFor);
    if (!clear.timer) {
        clear.timer = new QTimer(this); // dies with the store: a gone store clears nothing
        clear.timer->setSingleShot(true);
        clear.timer->setTimerType(Qt::PreciseTimer);
        connect(clear.timer, &QTimer::timeout, this,
                [this, sessionId] { clearJustFinishedDue(sessionId); });
    }
    if (!clear.timer->isActive())
        clear.timer->start(m_env.justFinishedFor);
}

void SessionStore::clearJustFinishedDue(const QString& sessionId) {
    auto clear = m_justFinishedClears.find(sessionId);
    if (clear == m_justFinishedClears.end() || clear->second.deadlines.empty())
        return;
    clear->second.deadlines.pop_front();
    if (clear->second.deadlines.empty()) {
        clear->second.timer->deleteLater();
        m_justFinishedClears.erase(clear);
    } else {
        using std::chrono::duration_cast;
        using std::chrono::milliseconds;
        const auto left = clear->second.deadlines.front() - steady_clock::now();
        clear->second.timer->start(std::max(milliseconds(0), duration_cast<milliseconds>(left)));
    }
    // Whatever happened since that stop: a later stop's mark goes too.
    auto it = m_sessions.find(sessionId);
    if (it != m_sessions.end() && it->second.justFinishedAt) {
        it->second.justFinishedAt.reset();
        emit sessionsChanged();
    }
}

void SessionStore::reconcileDiscovered(const std::vector<DiscoveredSession>& discovered) {
    bool changed = false;
    std::set<QString> seen;
    const QDateTime now = m_env.now();
    for (const DiscoveredSession& d : discovered) {
        seen.insert(d.sessionId);
        Session s = sessionOrNew(d.sessionId, d.cwd, d.mtime);
        s.cwd = d.cwd;
        s.lastEvent = std::max(s.lastEvent, d.mtime);
        s.lastTranscriptMtime = d.mtime;
        copyIfPresent(s.firstUserPrompt, d.firstPrompt);
        copyIfPresent(s.lastUserMessage, d.lastUser);
        copyIfPresent(s.lastAssistantMessage, d.lastAssistant);
        copyIfPresent(s.lastModel, d.lastModel);
        copyIfPresent(s.claudePid, d.claudePid);
        copyIfPresent(s.lastTerminalBundleId, d.terminalBundleId);
        copyIfPresent(s.lastTerminalPid, d.terminalPid);
        if (!s.status.isWaiting()) {
            if (d.turnComplete) {
                s.status = Status::idle();
            } else if (!s.lastStoppedAt || s.lastStoppedAt->msecsTo(now) >= staleStopMs ||
                       s.lastStoppedAt->msecsTo(d.mtime) > stopGraceMs) {
                s.status = Status::working();
            }
        }
        changed |= store(std::move(s));
    }
    std::vector<QString> gone;
    for (const auto& [id, s] : m_sessions) {
        if (!seen.count(id) && !s.status.isWaiting())
            gone.push_back(id);
    }
    for (const QString& id : gone)
        remove(id);
    if (changed || !gone.empty())
        emit sessionsChanged();
}

void SessionStore::pruneDeadProcesses() {
    const std::set<std::string> alive = m_env.runningClaudeCwds();
    std::string printed = "[";
    for (const std::string& cwd : alive) {
        if (printed.size() > 1)
            printed += ", ";
        printed += '"' + cwd + '"';
    }
    printed += ']';

    std::vector<QString> gone;
    for (const auto& [id, s] : m_sessions) {
        if (s.status.isWaiting() || alive.count(s.cwd.toStdString()))
            continue;
        std::fprintf(stderr, "Prune: removing session %s cwd=%s (not in alive=%s)\n",
                     id.left(8).toUtf8().constData(), s.cwd.toUtf8().constData(), printed.c_str());
        gone.push_back(id);
    }
    std::fflush(stderr);
    for (const QString& id : gone)
        remove(id);
    if (!gone.empty())
        emit sessionsChanged();
}

bool SessionStore::matchesAllowRule(const HookEvent& event) const {
    return AllowRules::matches(m_allowPatterns, event);
}

std::optional<QString> SessionStore::allowPattern(const HookEvent& event) const {
    return AllowRules::patternFor(event);
}

void SessionStore::resolve(const QString& sessionId, const HookDecision& decision) {
    auto it = m_sessions.find(sessionId);
    if (it == m_sessions.end() || !it->second.status.isWaiting())
        return;
    const Respond respond = it->second.status.prompt->respond;
    if (respond)
        respond(decision);
    // A denial too: Claude Code carries on after it.
    it = m_sessions.find(sessionId);
    if (it != m_sessions.end() && it->second.status.isWaiting()) {
        it->second.status = Status::working();
        emit sessionsChanged();
    }
}

void SessionStore::resolveAlways(const QString& sessionId) {
    const Session* s = session(sessionId);
    if (!s || !s->status.isWaiting())
        return;
    if (auto pattern = allowPattern(s->status.prompt->event)) {
        m_env.addAllowRule(*pattern); // a failed write still counts for this run
        if (!m_allowPatterns.contains(*pattern)) {
            m_allowPatterns.append(*pattern);
            emit allowPatternsChanged();
        }
    }
    resolve(sessionId, HookDecision{HookDecision::Decision::approve, std::nullopt, std::nullopt});
}

void SessionStore::reloadAllowPatterns() {
    QStringList patterns = AllowRules::readFromSettings(m_env.settingsPath);
    if (patterns == m_allowPatterns)
        return;
    m_allowPatterns = std::move(patterns);
    emit allowPatternsChanged();
}

void SessionStore::watchAllowPatterns() {
    if (m_settingsWatcher)
        return;
    m_settingsWatcher = new SettingsWatcher(m_env.settingsPath, this);
    connect(m_settingsWatcher, &SettingsWatcher::changed, this, &SessionStore::reloadAllowPatterns);
}

std::vector<Session> SessionStore::pending() const {
    std::vector<Session> list;
    for (const auto& [id, s] : m_sessions) {
        if (s.status.isWaiting())
            list.push_back(s);
    }
    return sortedNewestFirst(std::move(list), [](const Session& s) { return s.lastEvent; });
}

std::vector<Session> SessionStore::justFinished() const {
    std::vector<Session> list;
    for (const auto& [id, s] : m_sessions) {
        if (s.justFinishedAt)
            list.push_back(s);
    }
    return sortedNewestFirst(
        std::move(list), [](const Session& s) { return s.justFinishedAt.value_or(QDateTime()); });
}

std::vector<Session> SessionStore::allSorted() const {
    std::vector<Session> list;
    list.reserve(m_sessions.size());
    for (const auto& [id, s] : m_sessions)
        list.push_back(s);
    return sortedNewestFirst(std::move(list), [](const Session& s) { return s.lastEvent; });
}
