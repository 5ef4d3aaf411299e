// SPDX-License-Identifier: MIT
#include "HookInput.h"

#include "JsonLimits.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

std::optional<ClaudeHook> hookNamed(std::string_view hookEventName) {
    if (hookEventName == "PreToolUse")
        return ClaudeHook::preToolUse;
    if (hookEventName == "PermissionRequest")
        return ClaudeHook::permissionRequest;
    if (hookEventName == "Notification")
        return ClaudeHook::notification;
    if (hookEventName == "Stop")
        return ClaudeHook::stop;
    return std::nullopt;
}

HookEvent::Kind kindFor(ClaudeHook hook) {
    switch (hook) {
    case ClaudeHook::preToolUse:
    case ClaudeHook::permissionRequest:
        return HookEvent::Kind::permissionRequest;
    case ClaudeHook::notification:
        return HookEvent::Kind::notification;
    case ClaudeHook::stop:
        break;
    }
    return HookEvent::Kind::stop;
}

std::optional<std::string> stringAt(const json& object, const char* key) {
    auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

std::string compact(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// The first question of an AskUserQuestion call, when it is one.
const json* firstQuestion(const std::optional<std::string>& tool, const json& toolInput) {
    if (tool != "AskUserQuestion" || !toolInput.is_object())
        return nullptr;
    auto questions = toolInput.find("questions");
    if (questions == toolInput.end() || !questions->is_array() || questions->empty() ||
        !questions->front().is_object())
        return nullptr;
    return &questions->front();
}

std::optional<std::vector<std::string>> optionLabels(const json* question) {
    if (!question)
        return std::nullopt;
    auto options = question->find("options");
    if (options == question->end() || !options->is_array())
        return std::nullopt;
    std::vector<std::string> labels;
    for (const auto& option : *options) {
        if (option.is_object()) {
            if (auto label = stringAt(option, "label"))
                labels.push_back(std::move(*label));
        }
    }
    if (labels.empty())
        return std::nullopt;
    return labels;
}

json preToolUseAnswer(std::string_view decision, std::string_view reason) {
    return json{{"hookSpecificOutput",
                 {{"hookEventName", "PreToolUse"},
                  {"permissionDecision", decision},
                  {"permissionDecisionReason", reason}}}};
}

// PermissionRequest's own shape: the model reads a denial's message as the tool's result.
json permissionRequestAnswer(json decision) {
    return json{{"hookSpecificOutput",
                 {{"hookEventName", "PermissionRequest"}, {"decision", std::move(decision)}}}};
}

// The question's input with the picked choice as its answer, when the app picked one: Claude
// Code then takes it as the user's answer and does not ask again in the terminal.
std::optional<json> answeredInput(const HookEvent& event, const HookDecision& decision) {
    if (!decision.picked || !event.toolInput)
        return std::nullopt;
    json input = json::parse(*event.toolInput, nullptr, false);
    const json* question = firstQuestion(event.tool, input);
    if (!question)
        return std::nullopt;
    auto text = stringAt(*question, "question");
    if (!text)
        return std::nullopt;
    input["answers"] = json{{*text, *decision.picked}};
    return input;
}

constexpr char defaultDenial[] = "Denied in Hollowmere";

} // namespace

std::optional<HookInput> readHookInput(std::string_view input, double timestamp) {
    // Flattening the tool input recurses once per level: past the bound, no opinion.
    if (!jsonNestingWithin(input))
        return std::nullopt;
    json root = json::parse(input.begin(), input.end(), nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded() || !root.is_object())
        return std::nullopt;
    auto hookName = stringAt(root, "hook_event_name");
    if (!hookName)
        return std::nullopt;
    auto hook = hookNamed(*hookName);
    auto sessionId = stringAt(root, "session_id");
    if (!hook || !sessionId)
        return std::nullopt;

    HookEvent event;
    event.kind = kindFor(*hook);
    event.sessionId = std::move(*sessionId);
    event.cwd = stringAt(root, "cwd").value_or(std::string());
    event.tool = stringAt(root, "tool_name");
    auto toolInput = root.find("tool_input");
    if (toolInput != root.end() && !toolInput->is_null()) {
        event.toolInput = compact(*toolInput);
        event.suggestions = optionLabels(firstQuestion(event.tool, *toolInput));
    }
    event.message = stringAt(root, "message");
    event.timestamp = timestamp;
    return HookInput{*hook, std::move(event)};
}

std::string claudeCodeAnswer(const HookInput& input, const HookDecision& decision) {
    if (input.event.kind != HookEvent::Kind::permissionRequest ||
        decision.decision == HookDecision::Decision::passthrough)
        return {};
    const bool approve = decision.decision == HookDecision::Decision::approve;
    const std::string reason = decision.reason.value_or(defaultDenial);
    json answer;
    if (input.hook == ClaudeHook::permissionRequest) {
        json verdict =
            approve ? json{{"behavior", "allow"}} : json{{"behavior", "deny"}, {"message", reason}};
        if (approve) {
            if (auto updated = answeredInput(input.event, decision))
                verdict["updatedInput"] = std::move(*updated);
        }
        answer = permissionRequestAnswer(std::move(verdict));
    } else {
        answer = approve ? preToolUseAnswer("allow", "Approved in Hollowmere")
                         : preToolUseAnswer("deny", reason);
        if (approve) {
            if (auto updated = answeredInput(input.event, decision))
                answer["hookSpecificOutput"]["updatedInput"] = std::move(*updated);
        }
    }
    return compact(answer) + "\n";
}
