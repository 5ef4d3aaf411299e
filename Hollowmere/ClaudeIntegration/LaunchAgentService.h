// SPDX-License-Identifier: MIT
// Start at login. macOS: a per-user launch agent loaded with launchctl. Linux: a systemd user
// unit with Restart=on-failure where the session's user manager runs the graphical session, else
// an XDG autostart entry. "On" means that the file exists. Every decision lives here in shared
// code, so the macOS plist and command order are tested on Linux too. Main thread; install and
// uninstall block while the tools run (each at most a few seconds).
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

namespace LaunchAgentService {

// launchd on macOS; systemd or XDG autostart on the free desktops.
enum class Scheme { launchd, freedesktop };

// Where and how: the current user's facts, and a tool runner (exit status, -1 when it could not
// run). Tests hand in a temporary home and a recording runner.
struct Context {
    Scheme scheme;
    QString home;
    QString configHome; // $XDG_CONFIG_HOME, or home/.config
    QString executable; // what starts at login
    std::function<int(const QStringList& arguments)> run;
};

Context currentContext();

bool install();
bool uninstall();
bool isInstalled();

bool install(const Context& context);
bool uninstall(const Context& context);
bool isInstalled(const Context& context);

// The file(s) whose existence means "on": the plist on macOS; the unit, then the autostart entry
// on Linux.
QStringList agentFiles(const Context& context);

QByteArray launchAgentPlist(const QString& executable);
// Empty when systemd cannot start that path (a quote or backslash in it).
QByteArray systemdUnit(const QString& executable);
QByteArray autostartEntry(const QString& executable);

// Runs a tool (first element its path or name) with its output discarded and waits for it, at
// most `timeoutMs`; returns its exit status, or -1 when it cannot be started, crashes or hangs.
int run(const QStringList& arguments, int timeoutMs = 10000);

} // namespace LaunchAgentService
