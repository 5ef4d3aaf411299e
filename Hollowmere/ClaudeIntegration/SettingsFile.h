// SPDX-License-Identifier: MIT
// Reading and rewriting Claude Code's settings file without losing anything the user wrote.
#pragma once

#include <QString>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace SettingsFile {

struct Contents {
    enum class State {
        missing,    // no file: start from an empty object
        blank,      // empty or whitespace only: nothing to lose
        object,     // parsed to a JSON object
        malformed,  // exists but is no JSON object: must be copied aside before it is replaced
        unreadable, // exists but cannot be opened: never replaced
    };
    State state = State::missing;
    nlohmann::json root = nlohmann::json::object(); // the parsed object, or an empty one
    // The first number literal a rewrite would change (an integer beyond 64 bits, or a value too
    // large for a double). While set, the file is never rewritten.
    std::optional<std::string> inexactNumber;

    bool parsed() const { return state == State::object; }
};

Contents read(const QString& path);
// The same for bytes already read (never `missing` or `unreadable`).
Contents parse(const QByteArray& bytes);

// Why `before` must not be rewritten at all, if it must not.
std::optional<QString> refusal(const QString& path, const Contents& before);

struct WriteError {
    bool refused; // nothing was attempted (see refusal(), or the root would not serialise)
    QString text;
};

// Serialises `root` pretty-printed with sorted keys and puts it in place of `path` atomically
// (through a symlink to its target; permission bits kept). A file that did not parse is first
// copied beside itself: to `backupPath` if no backup exists yet, else to a separately named copy.
// Returns the reason when nothing was written.
std::optional<WriteError> write(const QString& path, const Contents& before,
                                const nlohmann::json& root, const QString& backupPath);

// Low-level atomic replace: a temporary file in the target's directory, fsync, rename, fsync of
// the directory. `mode` applies when the target does not exist yet (else its own bits are kept).
std::optional<QString> replaceAtomically(const QString& path, const std::string& bytes,
                                         std::optional<unsigned> mode = std::nullopt);

// Where a write to `path` really lands: the final target when `path` is a symlink.
QString resolvedTarget(const QString& path);

// Copies a file that did not parse to `backupPath` (when free) or to a fresh, clearly named copy
// beside `path`. Returns the copy's path, or nothing when no copy could be made.
std::optional<QString> keepAside(const QString& path, const QString& backupPath);

} // namespace SettingsFile
