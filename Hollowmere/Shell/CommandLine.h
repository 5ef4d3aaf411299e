// SPDX-License-Identifier: MIT
// The terminal side of the app: `hollowmere hooks …` and `hollowmere rules …`, answered before any
// application object exists and without the hook socket, so scripts can run them anywhere.
#pragma once

#include <QStringList>
#include <QTextStream>

namespace CommandLine {

// True when the arguments (program name excluded) ask for a command rather than the app.
// Anything not starting with "-" is a command (unknown ones get the usage), and so are --help,
// -h and --version; any other "-…" belongs to Qt.
bool isCommand(const QStringList& args);

// Runs a command; returns the process exit code: 0 done (or changed), 1 nothing changed or
// not possible, 2 a usage error (usage printed to `err`).
int run(const QStringList& args, QTextStream& out, QTextStream& err);

QString usage();

} // namespace CommandLine
