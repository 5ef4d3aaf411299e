// SPDX-License-Identifier: MIT
// Registers hollowmere-hook in Claude Code's user settings (~/.claude/settings.json), removes it,
// keeps a one-time backup, and edits the permission allow list. Stateless: every operation reads
// the file afresh and writes it back whole, atomically. Main thread in all callers.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace HooksInstaller {

// When Claude Code asks Hollowmere. everyTool: the managed entry sits on "PreToolUse", so every
// tool call waits in the notch. claudeAsks: it sits on "PermissionRequest", which Claude Code
// fires only where it would show its own permission dialog. "Notification" and "Stop" are
// managed in both.
enum class AskWhen { everyTool, claudeAsks };

// The "hooks.askWhen" preference; everyTool when unset or unknown.
AskWhen askWhen();

// Records the preference. When the settings file holds Hollowmere's hooks, moves the managed
// entry to the event of the new choice at once; the user's own entries on either event stay
// where and as they are. True when the choice is recorded and the settings file agrees with it
// (or holds none of our hooks). False when the hooks could not be moved (settingsFileProblem()
// usually says why); the choice stays recorded, and the next install moves them.
bool setAskWhen(AskWhen choice);

// The three event names the current choice manages: "PreToolUse" or "PermissionRequest", then
// "Notification" and "Stop". For showing the user what install will register.
QStringList managedEventNames();

// The executable "hollowmere-hook" beside the running executable, when it is one.
std::optional<QString> hookBinaryPath();

// Installs for the current choice; a managed entry left on the other choice's event is removed.
// One of: "installed hooks → <path>", "ok: hooks already installed",
// "skip: hollowmere-hook not found next to app binary", "failed to write settings: <why>".
QString installIfNeeded();

// The three events of the current choice carry a managed entry for the current hook path, and no
// managed entry is left on the event of the other choice.
bool isInstalled();

// Removes every managed entry, on the events of both choices; true when the file was rewritten.
bool uninstall();

// settings.json.hollowmere-backup beside the settings file: the state before the first install.
QString backupURL();

// Puts the backup in place of the settings file; the backup is gone afterwards.
bool restoreBackup();

// Appends a pattern to permissions.allow; false when it was there already or the file may not be
// rewritten (see settingsFileProblem()). A write that failed counts as added: the caller keeps the
// rule for this run.
bool addAllowRule(const QString& pattern);

// Removes the first equal pattern; true when the file was rewritten.
bool removeAllowRule(const QString& pattern);

QStringList currentAllowPatterns();

QString settingsPath();

// Why the settings file cannot be safely rewritten, when that is so: it cannot be read, nests
// deeper than 64 levels, holds a number a rewrite would change, would grow past what a rewrite
// may write once indented, or does not parse (then only an install may replace it, after copying
// it aside). Nothing when every operation may write it. Shown by the Connection tab.
std::optional<QString> settingsFileProblem();

// The text registered as the hook's command for a hook path (quoted for sh when it must be).
QString commandFor(const QString& hookPath);

} // namespace HooksInstaller
