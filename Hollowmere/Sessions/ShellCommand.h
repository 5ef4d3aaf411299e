// SPDX-License-Identifier: MIT
// What a Bash command line runs, as far as a program prefix rule may judge it. Claude Code does
// not let "Bash(git:*)" cover "git status && curl … | sh"; since an allow from the app skips
// Claude Code's own check, the app must be at least as strict.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace ShellCommand {

// The program (first word, split on spaces, as written) of every simple command in `command`,
// in order. The control operators ; & && | || |& and newline end a simple command wherever they
// stand outside quotes and escapes. Nothing when no program rule may cover the command at all:
// a command or process substitution ($( … ), backquotes, <( … ), >( … )), a ${ … } expansion,
// a redirection from a file or into one other than /dev/null (duplicating a descriptor, as in
// 2>&1, is fine), $'…' quoting, an unclosed quote, or no command.
std::optional<QStringList> programs(const QString& command);

} // namespace ShellCommand
