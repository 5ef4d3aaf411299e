// SPDX-License-Identifier: MIT
#include "../PanelWindow.h"

#include <QRegion>
#include <QWindow>

#import <AppKit/AppKit.h>

namespace {

// Above the menu bar and full-screen windows (the screen-saver level).
constexpr NSWindowLevel panelLevel = 1000;

NSWindow* nsWindowOf(QWindow* window) {
    NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window->winId());
    return view.window;
}

// Qt rebuilds the style mask whenever flags change, so this is applied after each change.
void applyPanelBehaviour(QWindow* window) {
    NSWindow* ns = nsWindowOf(window);
    if (!ns)
        return;
    ns.styleMask = ns.styleMask | NSWindowStyleMaskNonactivatingPanel;
    ns.hasShadow = NO;
    ns.opaque = NO;
    ns.backgroundColor = NSColor.clearColor;
    ns.level = panelLevel;
    ns.collectionBehavior =
        NSWindowCollectionBehaviorCanJoinAllSpaces | NSWindowCollectionBehaviorStationary;
    if ([ns isKindOfClass:NSPanel.class]) {
        NSPanel* panel = (NSPanel*)ns;
        panel.hidesOnDeactivate = NO;
        panel.becomesKeyOnlyIfNeeded = YES;
    }
}

} // namespace

namespace PanelWindow {

void prepare(QWindow* window) {
    // Qt makes an NSPanel for tool windows; it can become key (for the expanded content's
    // buttons and fields) without activating the application.
    window->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                     Qt::NoDropShadowWindowHint | Qt::WindowDoesNotAcceptFocus);
    applyPanelBehaviour(window);
}

void didShow(QWindow* window) {
    applyPanelBehaviour(window);
}

// Cocoa already lets clicks through the fully transparent parts of a non-opaque window.
void setInputRegion(QWindow*, const QRegion&) {}

// Quartz composites every window; transparency always shows what lies below.
void setVisibleRegion(QWindow*, const QRegion&, bool) {}

FocusOwner focusOwner() {
    NSRunningApplication* front = NSWorkspace.sharedWorkspace.frontmostApplication;
    return front ? FocusOwner(front.processIdentifier) : 0;
}

void makeKey(QWindow* window) {
    window->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    applyPanelBehaviour(window);
    // A non-activating panel takes key status while the other application stays frontmost.
    [nsWindowOf(window) makeKeyWindow];
}

void resignKey(QWindow* window, FocusOwner previous) {
    NSWindow* ns = nsWindowOf(window);
    const bool wasKey = ns.isKeyWindow;
    window->setFlag(Qt::WindowDoesNotAcceptFocus, true);
    applyPanelBehaviour(window);
    if (!wasKey)
        return;
    [ns resignKeyWindow];
    // The keyboard goes back to the application in front, whose key window takes it again.
    NSRunningApplication* app =
        [NSRunningApplication runningApplicationWithProcessIdentifier:pid_t(previous)];
    if (previous && app && ![app isEqual:NSRunningApplication.currentApplication])
        [app activateWithOptions:0];
}

} // namespace PanelWindow
