// SPDX-License-Identifier: MIT
// Restarts the running application: starts a new copy that waits until this one has gone, then
// quits this one.
#pragma once

#include "LaunchAgentService.h"

#include <QString>
#include <QStringList>

namespace AppRelauncher {

struct Command {
    QString program;
    QStringList arguments;
};

// The ".app" folder holding a bundle's executable (…/X.app/Contents/MacOS/x), else empty.
QString bundlePath(const QString& executable);

// macOS bundle: `sleep 0.4 && open "<bundle>"`. Otherwise a shell that waits (at most 10 s) until
// process `pid` has exited, then starts `executable` in its place.
Command command(LaunchAgentService::Scheme scheme, const QString& executable, qint64 pid);

// Starts the command above, detached, and asks the application to quit.
void relaunch();

} // namespace AppRelauncher
