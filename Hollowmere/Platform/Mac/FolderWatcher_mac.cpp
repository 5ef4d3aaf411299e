// SPDX-License-Identifier: MIT
// FSEvents on the one folder (its streams are recursive), delivered on the main dispatch queue,
// which the Qt event loop services on macOS. The stream's latency does the coalescing.
#include "Platform/FolderWatcher.h"

#include <QPointer>

#include <CoreServices/CoreServices.h>
#include <dispatch/dispatch.h>
#include <sys/stat.h>

namespace {

constexpr CFTimeInterval latencySeconds = 0.2;
// kFSEventStreamCreateFlagNoDefer (0x02) | kFSEventStreamCreateFlagFileEvents (0x10).
constexpr FSEventStreamCreateFlags streamFlags = 18;

template <typename T> struct CFHolder {
    T ref = nullptr;
    explicit CFHolder(T r) : ref(r) {}
    ~CFHolder() {
        if (ref)
            CFRelease(ref);
    }
    CFHolder(const CFHolder&) = delete;
    CFHolder& operator=(const CFHolder&) = delete;
};

} // namespace

struct FolderWatcher::Impl {
    QString path;
    FSEventStreamRef stream = nullptr;
    QPointer<FolderWatcher> owner;

    static void callback(ConstFSEventStreamRef, void* info, size_t, void*,
                         const FSEventStreamEventFlags*, const FSEventStreamEventId*) {
        auto* self = static_cast<Impl*>(info);
        if (self->owner)
            emit self->owner->changed();
    }

    void stop() {
        if (!stream)
            return;
        FSEventStreamStop(stream);
        FSEventStreamInvalidate(stream);
        FSEventStreamRelease(stream);
        stream = nullptr;
    }
};

FolderWatcher::FolderWatcher(QString path, QObject* parent) : QObject(parent), d(new Impl) {
    d->path = std::move(path);
    d->owner = this;
}

FolderWatcher::~FolderWatcher() {
    d->stop();
}

bool FolderWatcher::isWatching() const {
    return d->stream != nullptr;
}

bool FolderWatcher::start() {
    if (d->stream)
        return true;
    struct stat st {};
    const QByteArray native = d->path.toUtf8();
    if (::stat(native.constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;

    CFHolder<CFStringRef> cfPath(
        CFStringCreateWithCString(kCFAllocatorDefault, native.constData(), kCFStringEncodingUTF8));
    if (!cfPath.ref)
        return false;
    const void* values[] = {cfPath.ref};
    CFHolder<CFArrayRef> paths(
        CFArrayCreate(kCFAllocatorDefault, values, 1, &kCFTypeArrayCallBacks));
    FSEventStreamContext context{0, d.get(), nullptr, nullptr, nullptr};
    d->stream = FSEventStreamCreate(kCFAllocatorDefault, &Impl::callback, &context, paths.ref,
                                    kFSEventStreamEventIdSinceNow, latencySeconds, streamFlags);
    if (!d->stream)
        return false;
    FSEventStreamSetDispatchQueue(d->stream, dispatch_get_main_queue());
    if (!FSEventStreamStart(d->stream)) {
        d->stop();
        return false;
    }
    return true;
}
