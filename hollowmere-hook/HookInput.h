// SPDX-License-Identifier: MIT
// Translation between Claude Code's hook interface and the app's records: the hook input JSON
// on one side, HookEvent and HookDecision on the other.
#pragma once

#include "Protocol.h"

#include <optional>
#include <string>
#include <string_view>

// The event for one hook invocation, with everything Claude Code's input says; the facts about
// processes are the caller's to add. Nothing when the input is not a JSON object, has no
// session id, or comes from a hook the app does not follow.
std::optional<HookEvent> eventFromHookInput(std::string_view input, double timestamp);

// What to print for Claude Code after the app answered `event`: an allow or deny answer for a
// permission request, and nothing at all (no opinion) for everything else.
std::string claudeCodeAnswer(const HookEvent& event, const HookDecision& decision);
