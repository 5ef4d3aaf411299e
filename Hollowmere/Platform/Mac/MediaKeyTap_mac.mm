// SPDX-License-Identifier: MIT
// Media keys through a Quartz event tap at the head of the session's event stream. The tap only
// converts events; what is swallowed is decided by the handler.
#include "Platform/Mac/CFRef.h"
#include "Platform/MediaKeyTap.h"

#import <AppKit/AppKit.h>
#include <ApplicationServices/ApplicationServices.h>

namespace {

// Key down (bit 10) and system-defined (bit 14) events.
constexpr CGEventMask tapMask =
    CGEventMaskBit(kCGEventKeyDown) | CGEventMaskBit(CGEventType(NSEventTypeSystemDefined));

class QuartzMediaKeyTap final : public MediaKeyTap {
public:
    ~QuartzMediaKeyTap() override {
        if (m_source)
            CFRunLoopRemoveSource(CFRunLoopGetMain(), m_source.get(), kCFRunLoopCommonModes);
        if (m_tap)
            CGEventTapEnable(m_tap.get(), false);
    }

    bool install(Handler handler) override {
        if (m_tap)
            return true;
        m_handler = std::move(handler);
        CFMachPortRef tap =
            CGEventTapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionDefault,
                             tapMask, &QuartzMediaKeyTap::callback, this);
        if (!tap)
            return false;
        m_tap.reset(tap);
        m_source.reset(CFMachPortCreateRunLoopSource(kCFAllocatorDefault, tap, 0));
        CFRunLoopAddSource(CFRunLoopGetCurrent(), m_source.get(), kCFRunLoopCommonModes);
        CGEventTapEnable(tap, true);
        return true;
    }

private:
    static CGEventRef callback(CGEventTapProxy, CGEventType type, CGEventRef event, void* user) {
        auto* owner = static_cast<QuartzMediaKeyTap*>(user);
        // The system turns off a tap it finds slow; turn it back on and let the event pass.
        if (type == kCGEventTapDisabledByTimeout || type == kCGEventTapDisabledByUserInput) {
            if (owner->m_tap)
                CGEventTapEnable(owner->m_tap.get(), true);
            return event;
        }
        @autoreleasepool {
            NSEvent* ns = [NSEvent eventWithCGEvent:event];
            // subtype and data1 exist only on system-defined events.
            if (!ns || ns.type != NSEventTypeSystemDefined)
                return event;
            const SystemDefinedEvent e{int(ns.type), int(ns.subtype), quint32(ns.data1)};
            return owner->m_handler(e) ? nullptr : event;
        }
    }

    Handler m_handler;
    CFRef<CFMachPortRef> m_tap;
    CFRef<CFRunLoopSourceRef> m_source;
};

} // namespace

std::unique_ptr<MediaKeyTap> makeMediaKeyTap() {
    return std::make_unique<QuartzMediaKeyTap>();
}
