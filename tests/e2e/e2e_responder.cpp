// SPDX-License-Identifier: MIT
// The app's real hook path without its views: a SessionStore over the real settings file under
// $HOME and a HookServer on the real socket, with a scripted user in front of them.
//
//   e2e_responder --policy P[,P...] --log EVENTS.jsonl [--wait MS] [--delay MS]
//
// The nth prompt is answered by the nth policy (the last one repeats): approve, deny (with "User
// denied", as the prompt card says), always, pick (approve with the last offered choice), none
// (left to time out), crash (exit at once holding the connection, the socket file left behind,
// as an app that dies mid-prompt). Hook events, prompts and session changes are appended to the
// log as JSON lines after {"type":"ready"}. --wait shortens the server's 25 s answer wait;
// --delay answers each prompt that long after it appeared, as a user would.
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <system_error>

#include "HookLink/HookServer.h"
#include "Sessions/SessionStore.h"

namespace {

const QStringList policyNames{"approve", "deny", "always", "none", "crash", "pick"};

// One JSON line each, flushed: the test reads the log while this runs.
struct EventLog : QFile {
    using QFile::QFile;
    void write(const QJsonObject& line) {
        QFile::write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
        flush();
    }
};

QString statusName(const Status& status) {
    return status.isWaiting()                     ? "waitingForUser"
           : status.kind == Status::Kind::working ? "working"
                                                  : "idle";
}

QJsonObject describe(const Session& s) {
    QJsonObject o{{"sessionId", s.sessionId},
                  {"cwd", s.cwd},
                  {"status", statusName(s.status)},
                  {"justFinished", s.justFinishedAt.has_value()},
                  {"stopped", s.lastStoppedAt.has_value()}};
    if (s.claudePid)
        o["claudePid"] = *s.claudePid;
    if (s.status.prompt) {
        const HookEvent& e = s.status.prompt->event;
        o["promptTool"] = QString::fromStdString(e.tool.value_or(""));
        o["promptInput"] = QString::fromStdString(e.toolInput.value_or(""));
    }
    return o;
}

class Responder : public QObject {
public:
    Responder(SessionStore* store, QStringList policies, EventLog* log, int delayMs)
        : m_store(store), m_policies(std::move(policies)), m_log(log), m_delayMs(delayMs) {
        connect(store, &SessionStore::sessionsChanged, this, &Responder::onChanged);
    }

private:
    void onChanged() {
        QJsonArray sessions;
        for (const auto& [id, session] : m_store->sessions()) {
            logNewHistory(session);
            sessions.append(describe(session));
        }
        m_log->write({{"type", "sessions"}, {"sessions", sessions}});
        for (const Session& s : m_store->pending()) {
            if (m_seenPrompts.insert(s.status.prompt->id).second) {
                m_log->write({{"type", "prompt"}, {"session", describe(s)}});
                // Answered from the event loop, as a click would be, not inside the signal.
                const QString policy =
                    m_policies[std::min(qsizetype(m_seenPrompts.size()), m_policies.size()) - 1];
                QTimer::singleShot(m_delayMs, this,
                                   [this, policy, id = s.sessionId] { answer(id, policy); });
            }
        }
    }

    void logNewHistory(const Session& s) {
        // History keeps the last 20 entries; ids tell which ones are new.
        for (const HistoryEntry& h : s.history) {
            if (!m_seenHistory.insert(h.id).second)
                continue;
            m_log->write({{"type", "event"},
                          {"sessionId", s.sessionId},
                          {"kind", QString::fromStdString(std::string(toString(h.kind)))},
                          {"tool", h.tool.value_or(QString())},
                          {"summary", h.summary}});
        }
    }

    void answer(const QString& sessionId, const QString& policy) {
        const Session* s = m_store->session(sessionId);
        if (!s || !s->status.prompt || policy == "none")
            return;
        if (policy == "crash")
            std::_Exit(3);
        if (policy == "always")
            return m_store->resolveAlways(sessionId);
        HookDecision decision{HookDecision::Decision::approve, {}, {}};
        if (policy == "deny")
            decision = {HookDecision::Decision::deny, "User denied", {}};
        // pick: the last offered choice, as the prompt card does when it offers some.
        const auto& offered = s->status.prompt->event.suggestions;
        if (policy == "pick" && offered && !offered->empty())
            decision.picked = offered->back();
        m_store->resolve(sessionId, decision);
    }

    SessionStore* m_store;
    QStringList m_policies;
    EventLog* m_log;
    int m_delayMs;
    std::set<QUuid> m_seenPrompts;
    std::set<QUuid> m_seenHistory;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype policyAt = args.indexOf("--policy");
    const qsizetype logAt = args.indexOf("--log");
    auto number = [&](const char* option, int fallback) {
        const qsizetype at = args.indexOf(option);
        return at > 0 && at + 1 < args.size() ? args[at + 1].toInt() : fallback;
    };
    const std::chrono::milliseconds wait(number("--wait", 25000));
    const QStringList policies =
        policyAt > 0 && policyAt + 1 < args.size() ? args[policyAt + 1].split(',') : QStringList{};
    const bool known = std::all_of(policies.begin(), policies.end(),
                                   [](const QString& p) { return policyNames.contains(p); });
    if (policies.isEmpty() || !known || logAt < 0 || logAt + 1 >= args.size()) {
        std::fprintf(stderr, "usage: e2e_responder --policy approve|deny|always|none|crash|pick"
                             "[,...] --log FILE [--wait MS] [--delay MS]\n");
        return 2;
    }
    EventLog log(args[logAt + 1]);
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        std::fprintf(stderr, "e2e_responder: cannot write %s\n", qPrintable(log.fileName()));
        return 2;
    }

    SessionStore store;
    store.reloadAllowPatterns();
    store.watchAllowPatterns();
    Responder responder(&store, policies, &log, number("--delay", 0));
    HookServer server(&store, socketPath, wait);
    try {
        server.start();
    } catch (const std::system_error& e) {
        std::fprintf(stderr, "e2e_responder: hook server failed: %s\n", e.what());
        return 1;
    }
    log.write({{"type", "ready"}});

    // A test killed by its time-out must not leave a server on its socket.
    QTimer parentWatch;
    QObject::connect(&parentWatch, &QTimer::timeout, [parent = getppid()] {
        if (getppid() != parent)
            QCoreApplication::quit();
    });
    parentWatch.start(500);
    return app.exec();
}
