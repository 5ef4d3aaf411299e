// SPDX-License-Identifier: MIT
// Finds live Claude Code sessions from the transcripts under ~/.claude/projects and the running
// `claude` processes, hands them to the store, and has the store drop sessions whose process
// died. Main thread only.
#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Sessions/RunningClaude.h"
#include "Sessions/Session.h"

class FolderWatcher;
class SessionStore;
class TranscriptReader;

class SessionScanner : public QObject {
    Q_OBJECT
public:
    // Seams for tests. An empty member takes the default.
    struct Environment {
        QString projectsRoot;                                       // default ~/.claude/projects
        std::function<std::vector<RunningClaude>()> runningClaudes; // default: process table
        std::function<QDateTime()> now;                             // default: the system clock
        // Where Claude Code keeps a record per running process naming its session; default the
        // "sessions" folder beside projectsRoot.
        QString sessionsRoot;
    };

    explicit SessionScanner(SessionStore* store, QObject* parent = nullptr);
    SessionScanner(SessionStore* store, Environment env, QObject* parent = nullptr);
    ~SessionScanner() override;

    // Starts the prune and fallback timers and the folder watch. Call once.
    void start();
    // One pass: discover(), log the result, hand it to the store.
    void scan();
    // The live sessions one pass finds, without telling the store.
    std::vector<DiscoveredSession> discover();

    // "-work-my-app" -> "/work/my/app": lossy, a "-" that was in a name comes back as "/".
    static QString cwdFromProjectFolder(const QString& name);

    static constexpr int pruneIntervalMs = 500;
    static constexpr int fallbackIntervalMs = 5000;
    static constexpr qint64 liveWindowSeconds = 600; // older transcripts are not live
    static constexpr qint64 quietSeconds = 60;       // a quiet minute counts as waiting

signals:
    // After each scan(), with what it handed to the store.
    void scanned(int sessionCount);

private:
    QPointer<SessionStore> m_store;
    Environment m_env;
    QTimer m_pruneTimer;
    QTimer m_fallbackTimer;
    std::unique_ptr<FolderWatcher> m_watcher;
    // One reader per transcript currently considered, so each pass reads only what was added.
    std::unordered_map<std::string, std::unique_ptr<TranscriptReader>> m_readers;
};
