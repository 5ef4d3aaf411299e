// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <functional>
#include <optional>
#include <variant>
#include <vector>

#include "Protocol.h"

// A wire timestamp (seconds since 2001-01-01 UTC) as a date; out-of-range values are clamped.
QDateTime dateFromWire(double seconds);

// Answers the waiting hook connection; may be called long after the request, at most once.
using Respond = std::function<void(const HookDecision&)>;

struct PendingPrompt {
    QUuid id;
    HookEvent event;
    Respond respond;

    // Two prompts are the same prompt; the callback is not comparable and need not be.
    bool operator==(const PendingPrompt& o) const { return id == o.id && event == o.event; }
};

struct HistoryEntry {
    QUuid id;
    QDateTime timestamp;
    HookEvent::Kind kind = HookEvent::Kind::notification;
    std::optional<QString> tool;
    QString summary;

    bool operator==(const HistoryEntry&) const = default;
};

struct Status {
    enum class Kind { idle, working, waitingForUser };
    Kind kind = Kind::idle;
    std::optional<PendingPrompt> prompt; // set exactly when waitingForUser

    static Status idle() { return {}; }
    static Status working() { return {Kind::working, std::nullopt}; }
    static Status waitingForUser(PendingPrompt p) { return {Kind::waitingForUser, std::move(p)}; }
    bool isWaiting() const { return kind == Kind::waitingForUser; }

    bool operator==(const Status&) const = default;
};

struct Session {
    QString sessionId;
    QString cwd;
    Status status;
    QDateTime lastEvent;
    std::optional<QDateTime> justFinishedAt;
    std::optional<QString> lastTerminalBundleId;
    std::optional<int32_t> lastTerminalPid;
    std::optional<int32_t> claudePid;
    std::optional<QString> iTermSessionId;
    std::optional<QDateTime> lastTranscriptMtime;
    std::optional<QDateTime> lastStoppedAt;
    std::optional<QString> firstUserPrompt;
    std::optional<QString> lastUserMessage;
    std::optional<QString> lastAssistantMessage;
    std::optional<QString> lastModel;
    std::vector<HistoryEntry> history; // oldest first, at most 20

    bool operator==(const Session&) const = default;
};

// What the transcript scanner found for one live session.
struct DiscoveredSession {
    QString sessionId;
    QString cwd;
    QDateTime mtime;
    std::optional<QString> firstPrompt;
    std::optional<QString> lastUser;
    std::optional<QString> lastAssistant;
    std::optional<QString> lastModel;
    bool turnComplete = false;
    std::optional<int32_t> claudePid;
    std::optional<QString> terminalBundleId;
    std::optional<int32_t> terminalPid;
};
