// SPDX-License-Identifier: MIT
#include "HookInput.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace {

std::optional<HookEvent::Kind> kindForHook(std::string_view hookEventName) {
    if (hookEventName == "PreToolUse")
        return HookEvent::Kind::permissionRequest;
    if (hookEventName == "Notification")
        return HookEvent::Kind::notification;
    if (hookEventName == "Stop")
        return HookEvent::Kind::stop;
    return std::nullopt;
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

} // namespace

std::optional<HookEvent> eventFromHookInput(std::string_view input, double timestamp) {
    json root = json::parse(input.begin(), input.end(), nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded() || !root.is_object())
        return std::nullopt;
    auto hookName = stringAt(root, "hook_event_name");
    auto kind = hookName ? kindForHook(*hookName) : std::nullopt;
    auto sessionId = stringAt(root, "session_id");
    if (!kind || !sessionId)
        return std::nullopt;

    HookEvent event;
    event.kind = *kind;
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
    return event;
}

std::string claudeCodeAnswer(const HookEvent& event, const HookDecision& decision) {
    if (event.kind != HookEvent::Kind::permissionRequest)
        return {};
    switch (decision.decision) {
    case HookDecision::Decision::approve: {
        json answer = preToolUseAnswer("allow", "Approved in Hollowmere");
        // A choice picked in the app answers the question itself, so Claude Code does not ask
        // it again in the terminal.
        if (decision.picked && event.toolInput) {
            json input = json::parse(*event.toolInput, nullptr, false);
            if (const json* question = firstQuestion(event.tool, input)) {
                if (auto text = stringAt(*question, "question")) {
                    input["answers"] = json{{*text, *decision.picked}};
                    answer["hookSpecificOutput"]["updatedInput"] = std::move(input);
                }
            }
        }
        return compact(answer) + "\n";
    }
    case HookDecision::Decision::deny:
        return compact(preToolUseAnswer("deny", decision.reason.value_or("Denied in Hollowmere"))) +
               "\n";
    case HookDecision::Decision::passthrough:
        break;
    }
    return {};
}
