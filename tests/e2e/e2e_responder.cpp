// SPDX-License-Identifier: MIT
// The app's real hook path without its views: a SessionStore reading the real settings file
// under $HOME and a HookServer on the real socket, with a scripted user in front of them.
//
//   e2e_responder --policy approve|deny|always|none|crash|pick --log EVENTS.jsonl [--wait MS]
//                 [--delay MS]
//
// Each pending prompt is answered by the policy (deny says "User denied", as the prompt card
// does; pick approves with the last offered choice; none leaves it to time out; crash ends the
// process at once, holding the connection and leaving the socket file behind, as an app that dies
// mid-prompt would). Every hook event the store recorded, every prompt and every change of the
// sessions is appended to the log as one JSON line, for the test to read. The line {"type":"ready"}
// is written once the server listens. --wait shortens the server's 25 s answer wait, for cases
// that only need to see what happens when nobody answers; --delay answers each prompt that long
// after it appeared, as a user would.
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <system_error>

#include "HookLink/HookServer.h"
#include "Sessions/SessionStore.h"

namespace {

enum class Policy { approve, deny, always, none, crash, pick };

class EventLog {
public:
    explicit EventLog(const QString& path) : m_file(path) {
        if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
            std::fprintf(stderr, "e2e_responder: cannot write %s\n", qPrintable(path));
            std::exit(2);
        }
    }
    void write(const QJsonObject& line) {
        m_file.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
        m_file.flush();
    }

private:
    QFile m_file;
};

QString statusName(const Status& status) {
    switch (status.kind) {
    case Status::Kind::idle:
        return "idle";
    case Status::Kind::working:
        return "working";
    case Status::Kind::waitingForUser:
        return "waitingForUser";
    }
    return {};
}

QJsonObject describe(const Session& s) {
    QJsonObject o{{"sessionId", s.sessionId},
                  {"cwd", s.cwd},
                  {"status", statusName(s.status)},
                  {"justFinished", s.justFinishedAt.has_value()},
                  {"stopped", s.lastStoppedAt.has_value()},
                  {"historyCount", int(s.history.size())}};
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
    Responder(SessionStore* store, Policy policy, EventLog* log, int delayMs)
        : m_store(store), m_policy(policy), m_log(log), m_delayMs(delayMs) {
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
                QTimer::singleShot(m_delayMs, this, [this, id = s.sessionId] { answer(id); });
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

    void answer(const QString& sessionId) {
        switch (m_policy) {
        case Policy::approve:
            m_store->resolve(sessionId, HookDecision{HookDecision::Decision::approve, {}, {}});
            break;
        case Policy::deny:
            m_store->resolve(sessionId,
                             HookDecision{HookDecision::Decision::deny, "User denied", {}});
            break;
        case Policy::always:
            m_store->resolveAlways(sessionId);
            break;
        case Policy::pick: {
            // Approve with the last offered choice picked, as the prompt card does when it offers
            // some.
            const Session* s = m_store->session(sessionId);
            if (!s || !s->status.prompt)
                break;
            const auto& offered = s->status.prompt->event.suggestions;
            m_store->resolve(sessionId,
                             HookDecision{HookDecision::Decision::approve,
                                          {},
                                          offered && !offered->empty()
                                              ? std::optional<std::string>(offered->back())
                                              : std::nullopt});
            break;
        }
        case Policy::none:
            break;
        case Policy::crash:
            std::_Exit(3);
        }
    }

    SessionStore* m_store;
    Policy m_policy;
    EventLog* m_log;
    int m_delayMs;
    std::set<QUuid> m_seenPrompts;
    std::set<QUuid> m_seenHistory;
};

std::optional<Policy> policyFromString(const QString& s) {
    if (s == "approve")
        return Policy::approve;
    if (s == "deny")
        return Policy::deny;
    if (s == "always")
        return Policy::always;
    if (s == "none")
        return Policy::none;
    if (s == "crash")
        return Policy::crash;
    if (s == "pick")
        return Policy::pick;
    return std::nullopt;
}

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
    const auto policy = policyAt > 0 && policyAt + 1 < args.size()
                            ? policyFromString(args[policyAt + 1])
                            : std::nullopt;
    if (!policy || logAt < 0 || logAt + 1 >= args.size()) {
        std::fprintf(stderr,
                     "usage: e2e_responder --policy approve|deny|always|none|crash|pick --log FILE "
                     "[--wait MS] [--delay MS]\n");
        return 2;
    }
    EventLog log(args[logAt + 1]);

    SessionStore store;
    store.reloadAllowPatterns();
    store.watchAllowPatterns();
    Responder responder(&store, *policy, &log, number("--delay", 0));
    HookServer server(&store, socketPath, wait);
    try {
        server.start();
    } catch (const std::system_error& e) {
        std::fprintf(stderr, "e2e_responder: hook server failed: %s\n", e.what());
        return 1;
    }
    log.write(
        {{"type", "ready"}, {"allowPatterns", QJsonArray::fromStringList(store.allowPatterns())}});

    // A test killed by its time-out must not leave a server on its socket.
    QTimer parentWatch;
    QObject::connect(&parentWatch, &QTimer::timeout, [parent = getppid()] {
        if (getppid() != parent)
            QCoreApplication::quit();
    });
    parentWatch.start(500);
    return app.exec();
}
