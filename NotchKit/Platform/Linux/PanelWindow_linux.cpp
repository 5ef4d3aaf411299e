// SPDX-License-Identifier: MIT
#include "../PanelWindow.h"

#include <QGuiApplication>
#include <QRect>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/shape.h>

namespace {

constexpr long allDesktops = 0xFFFFFFFF;
constexpr long netWmStateAdd = 1;

// The X display when the panel lives on X11 (not under offscreen or Wayland).
Display* x11Display() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->display() : nullptr;
}

Atom atom(Display* dpy, const char* name) {
    return XInternAtom(dpy, name, False);
}

const char* const panelStates[] = {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY",
                                   "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"};

// A mapped window's desktop and states belong to the window manager; ask it (EWMH).
void sendClientMessage(Display* dpy, Window w, Atom type, long a0, long a1, long a2) {
    XEvent e{};
    e.xclient.type = ClientMessage;
    e.xclient.window = w;
    e.xclient.message_type = type;
    e.xclient.format = 32;
    e.xclient.data.l[0] = a0;
    e.xclient.data.l[1] = a1;
    e.xclient.data.l[2] = a2;
    e.xclient.data.l[3] = 1; // from a normal application
    XSendEvent(dpy, DefaultRootWindow(dpy), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &e);
}

} // namespace

namespace PanelWindow {

void prepare(QWindow* window) {
    // A tool window stays out of the task bar and, with the stay-on-top hint, above other
    // windows; it does not take focus until expanded.
    window->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                     Qt::NoDropShadowWindowHint | Qt::WindowDoesNotAcceptFocus);
    Display* dpy = x11Display();
    if (!dpy)
        return;
    const Window w = Window(window->winId());
    // Read by the window manager when the window is mapped.
    Atom states[std::size(panelStates)];
    for (size_t i = 0; i < std::size(panelStates); ++i)
        states[i] = atom(dpy, panelStates[i]);
    XChangeProperty(dpy, w, atom(dpy, "_NET_WM_STATE"), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(states), int(std::size(states)));
    long desktop = allDesktops;
    XChangeProperty(dpy, w, atom(dpy, "_NET_WM_DESKTOP"), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&desktop), 1);
    XFlush(dpy);
}

void didShow(QWindow* window) {
    Display* dpy = x11Display();
    if (!dpy)
        return;
    const Window w = Window(window->winId());
    sendClientMessage(dpy, w, atom(dpy, "_NET_WM_DESKTOP"), allDesktops, 0, 0);
    const Atom netWmState = atom(dpy, "_NET_WM_STATE");
    sendClientMessage(dpy, w, netWmState, netWmStateAdd, long(atom(dpy, panelStates[0])),
                      long(atom(dpy, panelStates[1])));
    sendClientMessage(dpy, w, netWmState, netWmStateAdd, long(atom(dpy, panelStates[2])),
                      long(atom(dpy, panelStates[3])));
    XFlush(dpy);
}

void setKeyable(QWindow* window, bool keyable) {
    window->setFlag(Qt::WindowDoesNotAcceptFocus, !keyable);
}

void setInputRegion(QWindow* window, const QRect& region) {
    Display* dpy = x11Display();
    if (!dpy)
        return;
    int eventBase = 0, errorBase = 0;
    if (!XShapeQueryExtension(dpy, &eventBase, &errorBase))
        return;
    // The X shape is in device pixels.
    const qreal dpr = window->devicePixelRatio();
    XRectangle rect{short(region.x() * dpr), short(region.y() * dpr),
                    static_cast<unsigned short>(qMax(0, region.width()) * dpr),
                    static_cast<unsigned short>(qMax(0, region.height()) * dpr)};
    XShapeCombineRectangles(dpy, Window(window->winId()), ShapeInput, 0, 0, &rect,
                            region.isEmpty() ? 0 : 1, ShapeSet, Unsorted);
    XFlush(dpy);
}

} // namespace PanelWindow
