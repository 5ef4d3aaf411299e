// SPDX-License-Identifier: MIT
#include "SettingsWatcher.h"

#include "SettingsFile.h"

#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QTimer>

#include <sys/stat.h>

namespace {

// A rename-replace is two or three events in a row; wait for them to pass.
constexpr int quietMs = 100;

// The nearest folder that exists, from `dir` upwards: a ~/.claude made later shows up there.
QString existingFolder(QString dir) {
    while (!QFileInfo(dir).isDir()) {
        const QString up = QFileInfo(dir).absolutePath();
        if (up == dir)
            break;
        dir = up;
    }
    return dir;
}

} // namespace

SettingsWatcher::SettingsWatcher(QString path, QObject* parent)
    : QObject(parent), m_path(std::move(path)), m_watcher(new QFileSystemWatcher(this)),
      m_quiet(new QTimer(this)) {
    m_quiet->setSingleShot(true);
    m_quiet->setInterval(quietMs);
    connect(m_quiet, &QTimer::timeout, this, &SettingsWatcher::settle);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, m_quiet, qOverload<>(&QTimer::start));
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, m_quiet, qOverload<>(&QTimer::start));
    m_lastSignature = signature();
    rewatch();
}

void SettingsWatcher::rewatch() {
    QStringList wanted;
    const QString target = SettingsFile::resolvedTarget(m_path);
    for (const QString& file : {m_path, target}) {
        wanted << existingFolder(QFileInfo(file).absolutePath());
        if (QFileInfo::exists(file))
            wanted << file; // written in place
    }
    wanted.removeDuplicates();
    const QStringList watched = m_watcher->files() + m_watcher->directories();
    for (const QString& path : watched) {
        if (!wanted.contains(path))
            m_watcher->removePath(path);
    }
    for (const QString& path : wanted) {
        if (!watched.contains(path))
            m_watcher->addPath(path);
    }
}

void SettingsWatcher::settle() {
    rewatch(); // a replaced file is a new one to watch; a new folder may have appeared
    const QString now = signature();
    if (now == m_lastSignature)
        return;
    m_lastSignature = now;
    emit changed();
}

QString SettingsWatcher::signature() const {
    struct stat st {};
    if (::stat(QFile::encodeName(m_path).constData(), &st) != 0)
        return {};
#ifdef __APPLE__
    const auto& modified = st.st_mtimespec;
#else
    const auto& modified = st.st_mtim;
#endif
    return QStringLiteral("%1:%2:%3:%4.%5")
        .arg(st.st_dev)
        .arg(st.st_ino)
        .arg(st.st_size)
        .arg(modified.tv_sec)
        .arg(modified.tv_nsec);
}
