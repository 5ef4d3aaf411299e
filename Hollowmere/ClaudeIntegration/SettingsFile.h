// SPDX-License-Identifier: MIT
// Reading and rewriting Claude Code's settings file without losing anything the user wrote.
#pragma once

#include "SettingsJson.h"

#include <QByteArray>
#include <QString>

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>

namespace SettingsFile {

struct Contents {
    enum class State {
        missing,    // no file (or a link to none): start from an empty object
        blank,      // empty or whitespace only: nothing to lose
        object,     // parsed to a JSON object
        malformed,  // exists but is no JSON object: only an install may replace it, after a copy
        unreadable, // exists but cannot be opened: never replaced
        tooDeep,    // nests deeper than jsonNestingLimit: never replaced
    };
    State state = State::missing;
    nlohmann::json root = nlohmann::json::object(); // the parsed object, or an empty one
    // The first number literal a rewrite would change; while set, the file is never rewritten.
    std::optional<std::string> inexactNumber;
    QByteArray bytes; // as read

    bool parsed() const { return state == State::object; }
};

Contents read(const QString& path);
// The same for bytes already read (never `missing` or `unreadable`).
Contents parse(const QByteArray& bytes);

// Why `before` must not be rewritten at all, if it must not: it cannot be read, nests too deeply,
// holds a number a rewrite would change, or would grow past what a rewrite may write.
std::optional<QString> refusal(const QString& path, const Contents& before);

// What a rewrite of `root` puts on disk, or nothing when that would be larger than a rewrite of
// `before` may be (pretty-printing deeply nested values multiplies their size).
std::optional<std::string> rewrite(const Contents& before, const nlohmann::json& root);
// Why rewrite() gave nothing.
QString tooLargeText(const QString& path, const Contents& before);

struct Outcome {
    enum class Kind {
        written,   // the file holds the edit
        unchanged, // the edit asked for nothing to change
        refused,   // nothing was attempted: `text` says why
        failed,    // the write failed: `text` says why
    };
    Kind kind = Kind::unchanged;
    QString text;
};

struct UpdateOptions {
    QString backupPath;            // settings.json.hollowmere-backup
    bool replaceMalformed = false; // copy a file that does not parse aside, then replace it
    bool keepFirstBackup = false;  // copy the file to backupPath first, unless one is there
};

// One read-modify-write of the file. `edit` gets what the file holds and returns the new root,
// or nothing to leave it as it is. Other Hollowmere processes wait on a lock file beside it, and
// the new file goes in place only while the file still holds what was read (Claude Code writes
// it too, without our lock); otherwise everything starts again from a fresh read. Written
// pretty-printed with sorted keys, atomically, through a symlink to its target (created when the
// link dangles), permission bits kept.
Outcome update(const QString& path, const UpdateOptions& options,
               const std::function<std::optional<nlohmann::json>(const Contents&)>& edit);

// Low-level atomic replace: a temporary file in the target's directory, fsync, rename, fsync of
// the directory. `mode` applies when the target does not exist yet (else its own bits are kept).
std::optional<QString> replaceAtomically(const QString& path, const std::string& bytes,
                                         std::optional<unsigned> mode = std::nullopt);

// Where a write to `path` really lands: the final target when `path` is a symlink (or a chain
// of them), whether that target exists or not.
QString resolvedTarget(const QString& path);

// Copies `bytes`, what a file that did not parse held, to `backupPath` (when free) or to a fresh,
// clearly named copy beside `path`. Returns the copy's path, or nothing when none could be made.
std::optional<QString> keepAside(const QString& path, const QByteArray& bytes,
                                 const QString& backupPath);

// Holds the lock beside a settings file, for writers that do not go through update().
class Lock {
public:
    explicit Lock(const QString& path);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    bool held() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace SettingsFile
