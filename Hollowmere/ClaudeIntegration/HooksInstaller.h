// SPDX-License-Identifier: MIT
// Registers hollowmere-hook in Claude Code's user settings (~/.claude/settings.json), removes it,
// keeps a one-time backup, and edits the permission allow list. Stateless: every operation reads
// the file afresh and writes it back whole, atomically. Main thread in all callers.
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace HooksInstaller {

// The executable "hollowmere-hook" beside the running executable, when it is one.
std::optional<QString> hookBinaryPath();

// One of: "installed hooks → <path>", "ok: hooks already installed",
// "skip: hollowmere-hook not found next to app binary", "failed to write settings: <why>".
QString installIfNeeded();

// All three events carry a managed entry for the current hook path.
bool isInstalled();

// Removes every managed entry; true when the file was rewritten.
bool uninstall();

// settings.json.hollowmere-backup beside the settings file: the state before the first install.
QString backupURL();

// Puts the backup in place of the settings file; the backup is gone afterwards.
bool restoreBackup();

// Appends a pattern to permissions.allow; false when it was there already or nothing could be
// written safely.
bool addAllowRule(const QString& pattern);

// Removes the first equal pattern; true when the file was rewritten.
bool removeAllowRule(const QString& pattern);

QStringList currentAllowPatterns();

QString settingsPath();

// The text registered as the hook's command for a hook path (quoted for sh when it must be).
QString commandFor(const QString& hookPath);

} // namespace HooksInstaller
