// SPDX-License-Identifier: MIT
#include <QGuiApplication>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    return app.exec();
}
