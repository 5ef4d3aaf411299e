// SPDX-License-Identifier: MIT
#include "../PanelWindow.h"

#include <QRect>
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

void setKeyable(QWindow* window, bool keyable) {
    window->setFlag(Qt::WindowDoesNotAcceptFocus, !keyable);
    applyPanelBehaviour(window);
}

// Cocoa already lets clicks through the fully transparent parts of a non-opaque window.
void setInputRegion(QWindow*, const QRect&) {}

} // namespace PanelWindow
