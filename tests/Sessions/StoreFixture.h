// SPDX-License-Identifier: MIT
// A store wired to recording fakes, and short-hands for hook events.
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Sessions/SessionStore.h"

struct StoreFakes {
    QStringList soundsPlayed;
    QStringList rulesWritten;
    std::set<std::string> aliveCwds;
    QDateTime now = QDateTime::currentDateTimeUtc();
};

inline std::unique_ptr<SessionStore>
makeStore(StoreFakes& fakes, QString settingsPath = {},
          std::chrono::milliseconds justFinishedFor = std::chrono::milliseconds(4000)) {
    SessionStore::Environment env;
    env.settingsPath =
        settingsPath.isEmpty() ? QStringLiteral("/nonexistent/settings.json") : settingsPath;
    env.playSound = [&fakes](const QString& name) { fakes.soundsPlayed << name; };
    env.runningClaudeCwds = [&fakes] { return fakes.aliveCwds; };
    env.addAllowRule = [&fakes](const QString& p) {
        fakes.rulesWritten << p;
        return true;
    };
    env.now = [&fakes] { return fakes.now; };
    env.justFinishedFor = justFinishedFor;
    return std::make_unique<SessionStore>(std::move(env));
}

inline HookEvent hookEvent(HookEvent::Kind kind, const std::string& sessionId,
                           double timestamp = 800000000.0) {
    HookEvent e;
    e.kind = kind;
    e.sessionId = sessionId;
    e.cwd = "/work/" + sessionId;
    e.timestamp = timestamp;
    return e;
}

inline HookEvent permissionRequest(const std::string& sessionId, const std::string& tool,
                                   std::optional<std::string> toolInput,
                                   double timestamp = 800000000.0) {
    HookEvent e = hookEvent(HookEvent::Kind::permissionRequest, sessionId, timestamp);
    e.tool = tool;
    e.toolInput = std::move(toolInput);
    return e;
}

inline std::string bashInput(const std::string& command) {
    return R"({"command":")" + command + R"(","description":"run it"})";
}

// Collects every answer one hook connection would get.
struct Answers {
    std::shared_ptr<std::vector<HookDecision>> got = std::make_shared<std::vector<HookDecision>>();
    Respond respond() {
        auto sink = got;
        return [sink](const HookDecision& d) { sink->push_back(d); };
    }
    size_t count() const { return got->size(); }
    HookDecision::Decision last() const { return got->back().decision; }
};
