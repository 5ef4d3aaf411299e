// SPDX-License-Identifier: MIT
// What a piece of code writes to standard error, read back from a temporary file.
#pragma once

#include <QByteArray>
#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

template <typename Fn> QByteArray capturedStderr(Fn fn) {
    QTemporaryFile file;
    if (!file.open())
        return {};
    std::fflush(stderr);
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(file.handle(), STDERR_FILENO);
    fn();
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    file.seek(0);
    return file.readAll();
}
