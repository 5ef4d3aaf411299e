// SPDX-License-Identifier: MIT
// Whole-file reads and writes for tests that work on real files.
#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

inline QByteArray readBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Replaces the file, making its folder first.
inline void writeBytes(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}
