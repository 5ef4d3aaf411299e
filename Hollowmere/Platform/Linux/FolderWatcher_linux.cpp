// SPDX-License-Identifier: MIT
// inotify watches the folder and each sub-folder (inotify is not recursive); sub-folders that
// appear later are added as their creation is reported.
#include "Platform/FolderWatcher.h"

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
// Writes to a transcript come in bursts; one notice per window is enough.
constexpr int coalesceMs = 200;
constexpr uint32_t folderMask = IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM |
                                IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                IN_ONLYDIR;
} // namespace

struct FolderWatcher::Impl {
    QString path;
    int fd = -1;
    int rootWatch = -1;
    std::unique_ptr<QSocketNotifier> notifier;
    QTimer coalesce;

    void stop() {
        // May run inside the notifier's own signal: retire it rather than delete it there.
        if (notifier) {
            notifier->setEnabled(false);
            notifier.release()->deleteLater();
        }
        if (fd >= 0)
            ::close(fd);
        fd = -1;
        rootWatch = -1;
    }

    void watchSubfolder(const QByteArray& name) {
        const QByteArray full = QFile::encodeName(path) + '/' + name;
        ::inotify_add_watch(fd, full.constData(), folderMask); // a folder gone already is fine
    }

    void watchExistingSubfolders() {
        DIR* dir = ::opendir(QFile::encodeName(path).constData());
        if (!dir)
            return;
        while (const dirent* e = ::readdir(dir)) {
            const QByteArray name(e->d_name);
            if (name == "." || name == "..")
                continue;
            bool isDir = e->d_type == DT_DIR;
            if (e->d_type == DT_UNKNOWN) {
                struct stat st {};
                isDir = ::fstatat(::dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISDIR(st.st_mode);
            }
            if (isDir)
                watchSubfolder(name);
        }
        ::closedir(dir);
    }

    // Drains the queue; returns whether anything was reported.
    bool drain() {
        alignas(inotify_event) char buffer[16384];
        bool any = false;
        for (;;) {
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            any = true;
            for (ssize_t at = 0; at < n;) {
                const auto* ev = reinterpret_cast<const inotify_event*>(buffer + at);
                at += ssize_t(sizeof(inotify_event) + ev->len);
                if (ev->wd == rootWatch && (ev->mask & IN_ISDIR) &&
                    (ev->mask & (IN_CREATE | IN_MOVED_TO)) && ev->len > 0)
                    watchSubfolder(QByteArray(ev->name));
                if (ev->wd == rootWatch &&
                    (ev->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED))) {
                    stop(); // the folder itself went away; start() re-arms once it is back
                    return true;
                }
            }
        }
        return any;
    }
};

FolderWatcher::FolderWatcher(QString path, QObject* parent) : QObject(parent), d(new Impl) {
    d->path = std::move(path);
    d->coalesce.setSingleShot(true);
    d->coalesce.setInterval(coalesceMs);
    connect(&d->coalesce, &QTimer::timeout, this, &FolderWatcher::changed);
}

FolderWatcher::~FolderWatcher() {
    d->stop();
}

bool FolderWatcher::isWatching() const {
    return d->fd >= 0;
}

bool FolderWatcher::start() {
    if (d->fd >= 0)
        return true;
    d->fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (d->fd < 0)
        return false;
    d->rootWatch = ::inotify_add_watch(d->fd, QFile::encodeName(d->path).constData(), folderMask);
    if (d->rootWatch < 0) {
        d->stop();
        return false;
    }
    d->watchExistingSubfolders();
    d->notifier = std::make_unique<QSocketNotifier>(d->fd, QSocketNotifier::Read);
    connect(d->notifier.get(), &QSocketNotifier::activated, this, [this] {
        const bool any = d->drain();
        if (any && !d->coalesce.isActive())
            d->coalesce.start();
    });
    return true;
}
