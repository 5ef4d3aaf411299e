// SPDX-License-Identifier: MIT
// The one observable model of sessions. Main thread only.
#pragma once

#include <QObject>
#include <QPointer>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "RunningClaude.h"
#include "Session.h"

class QTimer;
class SettingsWatcher;

class SessionStore : public QObject {
    Q_OBJECT
public:
    // Seams for tests: where the settings file is, what plays a sound, which cwds are alive.
    // An empty member takes the default.
    struct Environment {
        QString settingsPath;                                     // default: HooksInstaller
        std::function<void(const QString& name)> playSound;       // default: platform sound
        std::function<std::set<std::string>()> runningClaudeCwds; // default: process table
        std::function<bool(const QString& pattern)> addAllowRule; // default: HooksInstaller
        std::function<QDateTime()> now;                           // default: the system clock
        std::chrono::milliseconds justFinishedFor{4000};          // how long a stop shows as done
    };

    explicit SessionStore(QObject* parent = nullptr);
    SessionStore(Environment env, QObject* parent = nullptr);
    ~SessionStore() override;

    // Ordered by session id so "dictionary order" is deterministic.
    const std::map<QString, Session>& sessions() const { return m_sessions; }
    const Session* session(const QString& sessionId) const;

    // Applies one hook event. `respond` is called at once, except for a permission request that
    // no allow rule matches: that one waits as the session's prompt for resolve(). A prompt
    // replaced by a newer request is never answered; its hook falls back to passthrough.
    void handle(const HookEvent& event, Respond respond);
    // What the transcripts show; sessions missing from the list go, unless they wait for the user.
    void reconcileDiscovered(const std::vector<DiscoveredSession>& discovered);
    // Drops sessions (except waiting ones) whose cwd no running claude process has.
    void pruneDeadProcesses();

    // Answer a waiting session's prompt; the session is working afterwards, whatever the answer.
    // Nothing happens for a session that does not wait.
    void resolve(const QString& sessionId, const HookDecision& decision);
    // Approve, and for a Bash command add "Bash(program:*)" to the allow list and settings file.
    void resolveAlways(const QString& sessionId);
    // permissions.allow of the settings file; empty when it cannot be read as such.
    void reloadAllowPatterns();
    // From now on, reloads them whenever the settings file changes (`hollowmere rules add`, a
    // hand edit, Claude Code's own writes).
    void watchAllowPatterns();
    const QStringList& allowPatterns() const { return m_allowPatterns; }

    std::vector<Session> pending() const;
    std::vector<Session> justFinished() const;
    std::vector<Session> allSorted() const;

    static std::vector<RunningClaude> runningClaudes() { return ClaudeProcesses::runningClaudes(); }
    static std::set<std::string> runningClaudeCwds() {
        return ClaudeProcesses::runningClaudeCwds();
    }
    static TerminalMatch detectTerminal(int32_t claudePid) {
        return ClaudeProcesses::detectTerminal(claudePid);
    }

signals:
    void sessionsChanged();
    void allowPatternsChanged();

private:
    bool matchesAllowRule(const HookEvent& event) const;
    std::optional<QString> allowPattern(const HookEvent& event) const;
    Session sessionOrNew(const QString& sessionId, const QString& cwd, const QDateTime& at) const;
    // Stores `updated` under its id; returns whether anything changed.
    bool store(Session updated);
    void remove(const QString& sessionId);
    void scheduleJustFinishedClear(const QString& sessionId);
    void clearJustFinishedDue(const QString& sessionId);

    // One single-shot per session. Each stop adds a deadline; the timer serves them in order, so
    // a second stop within the period is cleared by the first stop's deadline.
    struct JustFinishedClear {
        QTimer* timer = nullptr; // owned by the store
        std::deque<std::chrono::steady_clock::time_point> deadlines;
    };

    Environment m_env;
    std::map<QString, Session> m_sessions;
    QStringList m_allowPatterns;
    SettingsWatcher* m_settingsWatcher = nullptr; // owned by the store
    std::map<QString, JustFinishedClear> m_justFinishedClears;
};
