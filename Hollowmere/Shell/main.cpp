// SPDX-License-Identifier: MIT
#include "AppDelegate.h"
#include "CommandLine.h"
#include "HollowmereVersion.h"
#include "QuitSignals.h"
#include "SingleInstance.h"

#include <QApplication>
#include <QCoreApplication>
#include <QIcon>

#include <cstdio>

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

    // A second launch shows Settings in the running app and leaves before touching the display:
    // that is how someone without a tray reaches it.
    SingleInstance instance;
    switch (instance.claim()) {
    case SingleInstance::Role::forwarded:
        return 0;
    case SingleInstance::Role::unanswered:
        std::fputs("hollowmere: another Hollowmere is running but does not answer\n", stderr);
        return 1;
    case SingleInstance::Role::primary:
        break;
    }

    // Widgets for the tray icon and its menu; the windows themselves are Qt Quick.
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/hollowmere.svg")));
    QApplication::setDesktopFileName(QStringLiteral("hollowmere"));
    QuitSignals::install();
    AppDelegate delegate;
    QObject::connect(&instance, &SingleInstance::settingsRequested, &delegate,
                     &AppDelegate::showSettings);
    instance.listen();
    delegate.applicationDidFinishLaunching();
    return app.exec();
}
