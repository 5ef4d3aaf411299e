// SPDX-License-Identifier: MIT
#include "AppRelauncher.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

namespace AppRelauncher {

QString bundlePath(const QString& executable) {
    const QStringList parts = QDir::cleanPath(executable).split(u'/');
    const qsizetype n = parts.size();
    if (n < 4 || parts[n - 2] != QLatin1String("MacOS") ||
        parts[n - 3] != QLatin1String("Contents") || !parts[n - 4].endsWith(QLatin1String(".app")))
        return {};
    return parts.mid(0, n - 3).join(u'/');
}

Command command(LaunchAgentService::Scheme scheme, const QString& executable, qint64 pid) {
    const QString bundle = bundlePath(executable);
    if (scheme == LaunchAgentService::Scheme::launchd && !bundle.isEmpty()) {
        return {QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("sleep 0.4 && open \"") + bundle + u'"'}};
    }
    // A zombie still answers kill -0: an exited parent not yet reaped counts as gone.
    static const QString script =
        QStringLiteral("i=0; while [ $i -lt 100 ] && kill -0 \"$1\" 2>/dev/null; do "
                       "case \"$(ps -o stat= -p \"$1\" 2>/dev/null)\" in Z*) break ;; esac; "
                       "sleep 0.1; i=$((i + 1)); done; exec \"$2\"");
    return {QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"), script, QStringLiteral("sh"), QString::number(pid), executable}};
}

void relaunch() {
    const Command c =
        command(LaunchAgentService::currentContext().scheme,
                QCoreApplication::applicationFilePath(), QCoreApplication::applicationPid());
    if (!QProcess::startDetached(c.program, c.arguments)) {
        qWarning("Hollowmere: cannot start a new copy, so this one keeps running");
        return;
    }
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
}

} // namespace AppRelauncher
