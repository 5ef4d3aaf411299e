// SPDX-License-Identifier: MIT
// Tells when anything changes in a folder, in its sub-folders or in their files (FSEvents on
// macOS, inotify on Linux). Lives on the main thread; a burst of changes gives one changed().
#pragma once

#include <QObject>
#include <QString>

#include <memory>

class FolderWatcher : public QObject {
    Q_OBJECT
public:
    explicit FolderWatcher(QString path, QObject* parent = nullptr);
    ~FolderWatcher() override;

    // Starts watching; false when the folder cannot be watched (for example, it does not exist
    // yet). Call again later to retry; a no-op while watching.
    bool start();
    bool isWatching() const;

signals:
    void changed();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
