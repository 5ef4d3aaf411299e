// SPDX-License-Identifier: MIT
// The one observable model of sessions. Main thread only.
#pragma once

#include <QObject>
#include <QPointer>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "RunningClaude.h"
#include "Session.h"

class SessionStore : public QObject {
    Q_OBJECT
public:
    // Seams for tests: where the settings file is, what plays a sound, which cwds are alive.
    struct Environment {
        QString settingsPath;                                    // default ~/.claude/settings.json
        std::function<void(const QString& name)> playSound;      // default: platform sound
        std::function<std::set<std::string>()> runningClaudeCwds; // default: process table
        std::function<bool(const QString& pattern)> addAllowRule; // default: HooksInstaller
    };

    explicit SessionStore(QObject* parent = nullptr);
    SessionStore(Environment env, QObject* parent = nullptr);
    ~SessionStore() override;

    // Ordered by session id so "dictionary order" is deterministic.
    const std::map<QString, Session>& sessions() const { return m_sessions; }
    const Session* session(const QString& sessionId) const;

    void handle(const HookEvent& event, Respond respond);
    void reconcileDiscovered(const std::vector<DiscoveredSession>& discovered);
    void pruneDeadProcesses();

    void resolve(const QString& sessionId, const HookDecision& decision);
    void resolveAlways(const QString& sessionId);
    void reloadAllowPatterns();
    const QStringList& allowPatterns() const { return m_allowPatterns; }

    std::vector<Session> pending() const;
    std::vector<Session> justFinished() const;
    std::vector<Session> allSorted() const;

    static std::vector<RunningClaude> runningClaudes() { return ClaudeProcesses::runningClaudes(); }
    static std::set<std::string> runningClaudeCwds() { return ClaudeProcesses::runningClaudeCwds(); }
    static TerminalMatch detectTerminal(int32_t claudePid) {
        return ClaudeProcesses::detectTerminal(claudePid);
    }

signals:
    void sessionsChanged();

private:
    Environment m_env;
    std::map<QString, Session> m_sessions;
    QStringList m_allowPatterns;
};
