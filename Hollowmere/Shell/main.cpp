// SPDX-License-Identifier: MIT
#include "AppDelegate.h"
#include "CommandLine.h"
#include "HollowmereVersion.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QIcon>

int main(int argc, char** argv) {
    // The user-defaults domain: ~/.config/Hollowmere/Hollowmere.conf on Linux.
    QCoreApplication::setOrganizationName(QStringLiteral("Hollowmere"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("hollowmere.app"));
    QCoreApplication::setApplicationName(QStringLiteral("Hollowmere"));
    QCoreApplication::setApplicationVersion(QStringLiteral(HOLLOWMERE_VERSION));

    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.append(QString::fromLocal8Bit(argv[i]));

    // Commands run without a display and never touch the hook socket. The core application
    // object only tells the installer where this executable lives.
    if (CommandLine::isCommand(args)) {
        QCoreApplication core(argc, argv);
        QTextStream out(stdout);
        QTextStream err(stderr);
        return CommandLine::run(args, out, err);
    }

    QGuiApplication app(argc, argv);
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/hollowmere.svg")));
    QGuiApplication::setDesktopFileName(QStringLiteral("hollowmere"));
    AppDelegate delegate;
    delegate.applicationDidFinishLaunching();
    return app.exec();
}
