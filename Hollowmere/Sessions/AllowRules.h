// SPDX-License-Identifier: MIT
// The two rule forms of Claude Code's permission allow list that Hollowmere understands: a bare
// tool name ("Read"), which matches every request for the tool, and a Bash program prefix
// ("Bash(git:*)"), which matches a command whose every simple command runs an allowed program
// (see ShellCommand). Anything else never matches.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

#include "Protocol.h"

namespace AllowRules {

// The programs of a Bash request's command (ShellCommand::programs); absent for other tools,
// when the input is not a JSON object with a string "command", or when no rule may cover it.
std::optional<QStringList> bashPrograms(const HookEvent& event);

bool matches(const QStringList& patterns, const HookEvent& event);

// The rule "Always" adds for this request: "Bash(program:*)" for a Bash command that is one
// simple command, else absent (then "Always" approves once).
std::optional<QString> patternFor(const HookEvent& event);

// `permissions.allow` of a Claude Code settings file; empty when the file is missing, is not JSON,
// or does not hold an array of strings there.
QStringList readFromSettings(const QString& settingsPath);

} // namespace AllowRules
