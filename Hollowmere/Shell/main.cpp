// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv) {
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
    return app.exec();
}
