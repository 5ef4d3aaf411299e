// SPDX-License-Identifier: MIT
// The records exchanged between hollowmere-hook and the app: one HookEvent line in, one
// HookDecision line out, per connection. No Qt here: the hook links this and must start fast.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr char socketPath[] = "/tmp/hollowmere.sock";

// Wire dates are seconds since 2001-01-01 00:00:00 UTC, not Unix time.
inline constexpr double referenceDateUnixOffset = 978307200.0;

double secondsSinceReferenceDate(std::chrono::system_clock::time_point t);
double nowSinceReferenceDate();
std::chrono::system_clock::time_point timePointFromReferenceSeconds(double seconds);

struct HookEvent {
    enum class Kind { permissionRequest, notification, stop };

    Kind kind = Kind::notification;
    std::string sessionId;
    std::string cwd;
    std::optional<std::string> tool;
    std::optional<std::string> toolInput;
    std::optional<std::string> message;
    double timestamp = 0; // seconds since the reference date
    std::optional<std::string> terminalBundleId;
    std::optional<int32_t> terminalPid;
    std::optional<std::vector<std::string>> suggestions;
    std::optional<int32_t> claudePid;
    std::optional<std::string> iTermSessionId;

    // Compact JSON, no line feed. Absent optionals are omitted, never written as null.
    std::string encode() const;
    // Absent or null optionals decode to absent; a missing required key, a wrong type, an
    // unknown kind, or nesting deeper than jsonNestingLimit (in the record or in the JSON text
    // of toolInput) fails the whole record.
    static std::optional<HookEvent> decode(std::string_view json);

    bool operator==(const HookEvent&) const = default;
};

struct HookDecision {
    enum class Decision { approve, deny, passthrough };

    Decision decision = Decision::passthrough;
    std::optional<std::string> reason;
    std::optional<std::string> picked;

    std::string encode() const;
    static std::optional<HookDecision> decode(std::string_view json);

    bool operator==(const HookDecision&) const = default;
};

std::string_view toString(HookEvent::Kind kind);
std::string_view toString(HookDecision::Decision decision);
std::optional<HookEvent::Kind> kindFromString(std::string_view raw);
std::optional<HookDecision::Decision> decisionFromString(std::string_view raw);
