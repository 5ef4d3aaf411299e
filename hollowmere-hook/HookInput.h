// SPDX-License-Identifier: MIT
// Translation between Claude Code's hook interface and the app's records: the hook input JSON
// on one side, HookEvent and HookDecision on the other.
#pragma once

#include "Protocol.h"

#include <optional>
#include <string>
#include <string_view>

// The Claude Code hooks the app follows. A permission request arrives through either of the
// first two, depending on where the installer put the managed entry; each is answered in its
// own shape.
enum class ClaudeHook { preToolUse, permissionRequest, notification, stop };

struct HookInput {
    ClaudeHook hook;
    HookEvent event;
};

// The event for one hook invocation, with everything Claude Code's input says; the facts about
// processes are the caller's to add. Nothing when the input is not a JSON object, nests deeper
// than jsonNestingLimit, has no session id, or comes from a hook the app does not follow.
std::optional<HookInput> readHookInput(std::string_view input, double timestamp);

// What to print for Claude Code after the app answered: an allow or deny answer, in the shape of
// the hook that ran, for a permission request; nothing at all (no opinion) for everything else.
std::string claudeCodeAnswer(const HookInput& input, const HookDecision& decision);
