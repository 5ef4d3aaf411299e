// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <functional>
#include <memory>

// A system-defined input event as the keyboard's auxiliary keys produce it.
struct SystemDefinedEvent {
    int type = 0;
    int subtype = 0;
    quint32 data1 = 0;
};

// Sees media-key events before the system acts on them. The handler runs on the main thread and
// returns true to swallow the event.
class MediaKeyTap {
public:
    using Handler = std::function<bool(const SystemDefinedEvent&)>;
    virtual ~MediaKeyTap() = default;
    // False when the tap cannot be installed; the reason has been logged.
    virtual bool install(Handler handler) = 0;
};

std::unique_ptr<MediaKeyTap> makeMediaKeyTap();
