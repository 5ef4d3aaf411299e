// SPDX-License-Identifier: MIT
#include "Protocol.h"

#include "JsonLimits.h"

#include <limits>

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

// Invalid UTF-8 from a terminal or a file name must not make encoding throw.
std::string dumpCompact(const json& j) {
    return j.dump(-1, ' ', false, json::error_handler_t::replace);
}

// A key that is absent or null is "no value"; a present value of the wrong type fails.
template <typename T> bool readOptional(const json& obj, const char* key, std::optional<T>& out);

template <> bool readOptional(const json& obj, const char* key, std::optional<std::string>& out) {
    auto it = obj.find(key);
    if (it == obj.end() || it->is_null())
        return true;
    if (!it->is_string())
        return false;
    out = it->get<std::string>();
    return true;
}

template <> bool readOptional(const json& obj, const char* key, std::optional<int32_t>& out) {
    auto it = obj.find(key);
    if (it == obj.end() || it->is_null())
        return true;
    if (!it->is_number_integer())
        return false;
    if (it->is_number_unsigned()) {
        auto v = it->get<uint64_t>();
        if (v > uint64_t(std::numeric_limits<int32_t>::max()))
            return false;
        out = int32_t(v);
        return true;
    }
    auto v = it->get<int64_t>();
    if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max())
        return false;
    out = int32_t(v);
    return true;
}

template <>
bool readOptional(const json& obj, const char* key, std::optional<std::vector<std::string>>& out) {
    auto it = obj.find(key);
    if (it == obj.end() || it->is_null())
        return true;
    if (!it->is_array())
        return false;
    std::vector<std::string> values;
    values.reserve(it->size());
    for (const auto& v : *it) {
        if (!v.is_string())
            return false;
        values.push_back(v.get<std::string>());
    }
    out = std::move(values);
    return true;
}

bool readString(const json& obj, const char* key, std::string& out) {
    auto it = obj.find(key);
    if (it == obj.end() || !it->is_string())
        return false;
    out = it->get<std::string>();
    return true;
}

template <typename T> void writeOptional(json& obj, const char* key, const std::optional<T>& v) {
    if (v)
        obj[key] = *v;
}

json parseObject(std::string_view text) {
    if (!jsonNestingWithin(text))
        return json();
    auto j = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (j.is_discarded() || !j.is_object())
        return json();
    return j;
}

} // namespace

double secondsSinceReferenceDate(std::chrono::system_clock::time_point t) {
    using namespace std::chrono;
    return duration<double>(t.time_since_epoch()).count() - referenceDateUnixOffset;
}

double nowSinceReferenceDate() {
    return secondsSinceReferenceDate(std::chrono::system_clock::now());
}

std::chrono::system_clock::time_point timePointFromReferenceSeconds(double seconds) {
    using namespace std::chrono;
    return system_clock::time_point(
        duration_cast<system_clock::duration>(duration<double>(seconds + referenceDateUnixOffset)));
}

std::string_view toString(HookEvent::Kind kind) {
    switch (kind) {
    case HookEvent::Kind::permissionRequest:
        return "permissionRequest";
    case HookEvent::Kind::notification:
        return "notification";
    case HookEvent::Kind::stop:
        return "stop";
    }
    return "notification";
}

std::string_view toString(HookDecision::Decision decision) {
    switch (decision) {
    case HookDecision::Decision::approve:
        return "approve";
    case HookDecision::Decision::deny:
        return "deny";
    case HookDecision::Decision::passthrough:
        return "passthrough";
    }
    return "passthrough";
}

std::optional<HookEvent::Kind> kindFromString(std::string_view raw) {
    if (raw == "permissionRequest")
        return HookEvent::Kind::permissionRequest;
    if (raw == "notification")
        return HookEvent::Kind::notification;
    if (raw == "stop")
        return HookEvent::Kind::stop;
    return std::nullopt;
}

std::optional<HookDecision::Decision> decisionFromString(std::string_view raw) {
    if (raw == "approve")
        return HookDecision::Decision::approve;
    if (raw == "deny")
        return HookDecision::Decision::deny;
    if (raw == "passthrough")
        return HookDecision::Decision::passthrough;
    return std::nullopt;
}

std::string HookEvent::encode() const {
    json j = json::object();
    j["kind"] = toString(kind);
    j["sessionId"] = sessionId;
    j["cwd"] = cwd;
    writeOptional(j, "tool", tool);
    writeOptional(j, "toolInput", toolInput);
    writeOptional(j, "message", message);
    j["timestamp"] = timestamp;
    writeOptional(j, "terminalBundleId", terminalBundleId);
    writeOptional(j, "terminalPid", terminalPid);
    writeOptional(j, "suggestions", suggestions);
    writeOptional(j, "claudePid", claudePid);
    writeOptional(j, "iTermSessionId", iTermSessionId);
    return dumpCompact(j);
}

std::optional<HookEvent> HookEvent::decode(std::string_view text) {
    json j = parseObject(text);
    if (!j.is_object())
        return std::nullopt;
    HookEvent e;
    std::string kindRaw;
    if (!readString(j, "kind", kindRaw))
        return std::nullopt;
    auto kind = kindFromString(kindRaw);
    if (!kind)
        return std::nullopt;
    e.kind = *kind;
    if (!readString(j, "sessionId", e.sessionId) || !readString(j, "cwd", e.cwd))
        return std::nullopt;
    auto ts = j.find("timestamp");
    if (ts == j.end() || !ts->is_number())
        return std::nullopt;
    e.timestamp = ts->get<double>();
    bool ok = readOptional(j, "tool", e.tool) && readOptional(j, "toolInput", e.toolInput) &&
              readOptional(j, "message", e.message) &&
              readOptional(j, "terminalBundleId", e.terminalBundleId) &&
              readOptional(j, "terminalPid", e.terminalPid) &&
              readOptional(j, "suggestions", e.suggestions) &&
              readOptional(j, "claudePid", e.claudePid) &&
              readOptional(j, "iTermSessionId", e.iTermSessionId);
    // The tool input is JSON text the app parses again; it is held to the same bound.
    if (!ok || (e.toolInput && !jsonNestingWithin(*e.toolInput)))
        return std::nullopt;
    return e;
}

std::string HookDecision::encode() const {
    json j = json::object();
    j["decision"] = toString(decision);
    writeOptional(j, "reason", reason);
    writeOptional(j, "picked", picked);
    return dumpCompact(j);
}

std::optional<HookDecision> HookDecision::decode(std::string_view text) {
    json j = parseObject(text);
    if (!j.is_object())
        return std::nullopt;
    std::string raw;
    if (!readString(j, "decision", raw))
        return std::nullopt;
    auto decision = decisionFromString(raw);
    if (!decision)
        return std::nullopt;
    HookDecision d;
    d.decision = *decision;
    if (!readOptional(j, "reason", d.reason) || !readOptional(j, "picked", d.picked))
        return std::nullopt;
    return d;
}
