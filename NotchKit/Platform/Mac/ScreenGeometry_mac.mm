// SPDX-License-Identifier: MIT
#include "../ScreenGeometry.h"

#include <QGuiApplication>
#include <QScreen>

#import <AppKit/AppKit.h>

namespace {

// Cocoa measures from the bottom-left of the primary screen, Qt from its top-left.
QRectF toQt(NSRect r) {
    const CGFloat primaryHeight = NSScreen.screens.firstObject.frame.size.height;
    return QRectF(r.origin.x, primaryHeight - (r.origin.y + r.size.height), r.size.width,
                  r.size.height);
}

NSScreen* nsScreenFor(QScreen* screen) {
    const QRectF wanted = screen->geometry();
    for (NSScreen* candidate in NSScreen.screens) {
        if (toQt(candidate.frame) == wanted)
            return candidate;
    }
    return nil;
}

} // namespace

namespace ScreenGeometry {

ScreenMetrics metrics(QScreen* screen) {
    ScreenMetrics m;
    if (!screen)
        return m;
    @autoreleasepool {
        NSScreen* ns = nsScreenFor(screen);
        if (!ns) {
            m.frame = screen->geometry();
            m.visibleFrame = screen->availableGeometry();
            return m;
        }
        m.frame = toQt(ns.frame);
        // visibleFrame also excludes the Dock; only its top edge matters here.
        m.visibleFrame = toQt(ns.visibleFrame);
        if (@available(macOS 12.0, *)) {
            m.safeAreaTop = ns.safeAreaInsets.top;
            const NSRect left = ns.auxiliaryTopLeftArea;
            const NSRect right = ns.auxiliaryTopRightArea;
            if (!NSIsEmptyRect(left))
                m.auxiliaryTopLeftArea = toQt(left);
            if (!NSIsEmptyRect(right))
                m.auxiliaryTopRightArea = toQt(right);
        }
    }
    return m;
}

} // namespace ScreenGeometry
