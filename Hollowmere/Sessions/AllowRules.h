// SPDX-License-Identifier: MIT
// The two rule forms of Claude Code's permission allow list that Hollowmere understands: a bare
// tool name ("Read") and a Bash program prefix ("Bash(git:*)"). Anything else never matches.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

#include "Protocol.h"

namespace AllowRules {

// The first word of a Bash request's command, split on spaces with empty pieces dropped; absent
// for other tools or when the input is not a JSON object with a non-empty string "command".
std::optional<QString> bashProgram(const HookEvent& event);

bool matches(const QStringList& patterns, const HookEvent& event);

// The rule "Always" adds for this request: "Bash(program:*)" for a Bash command, else absent.
std::optional<QString> patternFor(const HookEvent& event);

// `permissions.allow` of a Claude Code settings file; empty when the file is missing, is not JSON,
// or does not hold an array of strings there.
QStringList readFromSettings(const QString& settingsPath);

} // namespace AllowRules
