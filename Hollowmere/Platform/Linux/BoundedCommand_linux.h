// SPDX-License-Identifier: MIT
// Running a helper program (tmux, kitty, wezterm) safely from any thread: an argument vector, no
// shell, standard input from /dev/null, standard error dropped, standard output drained, and a
// time limit after which the program is killed.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace BoundedCommand {

struct Result {
    int exitCode = -1;
    QByteArray output; // at most outputLimit bytes are kept; the rest is read and dropped
};

inline constexpr int timeLimitMs = 1000;
inline constexpr qsizetype outputLimit = 1 << 20;

// Nothing when the program is not on PATH, cannot start, is killed by a signal or overruns.
std::optional<Result> run(const QString& program, const QStringList& args,
                          const QHash<QString, QString>& extraEnv = {}, int limitMs = timeLimitMs);

} // namespace BoundedCommand
