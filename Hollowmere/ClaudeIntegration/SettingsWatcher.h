// SPDX-License-Identifier: MIT
// Tells when Claude Code's settings file may hold something new: written in place, replaced by a
// rename (as careful writers do), created, removed, or changed through the link it may be. Lives
// on the main thread; a burst of changes gives one changed(), and only when the file's identity,
// size or time differs from what was last reported.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QFileSystemWatcher;
class QTimer;

class SettingsWatcher : public QObject {
    Q_OBJECT
public:
    explicit SettingsWatcher(QString path, QObject* parent = nullptr);

signals:
    void changed();

private:
    void rewatch();
    void settle();
    QString signature() const;

    QString m_path;
    QFileSystemWatcher* m_watcher;
    QTimer* m_quiet;
    QString m_lastSignature;
};
