// SPDX-License-Identifier: MIT
#include "../PanelWindow.h"

#include <QGuiApplication>
#include <QRegion>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/shape.h>

#include <vector>

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
void sendClientMessage(Display* dpy, Window w, Atom type, long a0, long a1, long a2,
                       long a3 = 1 /* from a normal application */) {
    XEvent e{};
    e.xclient.type = ClientMessage;
    e.xclient.window = w;
    e.xclient.message_type = type;
    e.xclient.format = 32;
    e.xclient.data.l[0] = a0;
    e.xclient.data.l[1] = a1;
    e.xclient.data.l[2] = a2;
    e.xclient.data.l[3] = a3;
    XSendEvent(dpy, DefaultRootWindow(dpy), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &e);
}

void dropTakeFocus(Display* dpy, Window w) {
    Atom* protocols = nullptr;
    int count = 0;
    if (!XGetWMProtocols(dpy, w, &protocols, &count))
        return;
    const Atom takeFocus = atom(dpy, "WM_TAKE_FOCUS");
    std::vector<Atom> kept;
    for (int i = 0; i < count; ++i) {
        if (protocols[i] != takeFocus)
            kept.push_back(protocols[i]);
    }
    XFree(protocols);
    XSetWMProtocols(dpy, w, kept.data(), int(kept.size()));
}

bool hasShape(Display* dpy) {
    int eventBase = 0, errorBase = 0;
    return XShapeQueryExtension(dpy, &eventBase, &errorBase);
}

void setShape(Display* dpy, Window w, int kind, const QRegion& region) {
    std::vector<XRectangle> rects;
    rects.reserve(size_t(region.rectCount()));
    for (const QRect& r : region)
        rects.push_back({short(r.x()), short(r.y()), static_cast<unsigned short>(r.width()),
                         static_cast<unsigned short>(r.height())});
    // QRegion keeps its rectangles in y-x bands, as the server wants them.
    XShapeCombineRectangles(dpy, w, kind, 0, 0, rects.data(), int(rects.size()), ShapeSet,
                            YXBanded);
}

// A window named by a property of the root window, or None.
Window rootWindowProperty(Display* dpy, const char* name) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    Window value = None;
    if (XGetWindowProperty(dpy, DefaultRootWindow(dpy), atom(dpy, name), 0, 1, False, XA_WINDOW,
                           &type, &format, &count, &after, &data) == Success &&
        data) {
        if (count == 1 && format == 32)
            value = Window(*reinterpret_cast<const unsigned long*>(data));
        XFree(data);
    }
    return value;
}

// The client window the window manager calls active (EWMH), else the X input focus.
Window activeWindow(Display* dpy) {
    if (const Window active = rootWindowProperty(dpy, "_NET_ACTIVE_WINDOW"))
        return active;
    Window focus = None;
    int revert = 0;
    XGetInputFocus(dpy, &focus, &revert);
    return focus == PointerRoot ? None : focus;
}

// Whether a window manager that follows EWMH runs: it names its check window on the root.
bool hasWindowManager(Display* dpy) {
    return rootWindowProperty(dpy, "_NET_SUPPORTING_WM_CHECK") != None;
}

// Whether `w` still exists; a failed request would otherwise end the program through Xlib's
// default error handler.
bool windowExists(Display* dpy, Window w) {
    XSync(dpy, False);
    auto* previous = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    XWindowAttributes attributes;
    const Status ok = XGetWindowAttributes(dpy, w, &attributes);
    XSync(dpy, False);
    XSetErrorHandler(previous);
    return ok != 0 && attributes.map_state == IsViewable;
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
    // Qt offers to take focus when told (WM_TAKE_FOCUS). A window manager that clicks such a
    // window takes the focus from the terminal and waits for us to claim it, so the next keys
    // land nowhere; without the offer, the input hint alone decides, and it says no until the
    // panel is made key.
    dropTakeFocus(dpy, w);
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

void setInputRegion(QWindow* window, const QRegion& region) {
    Display* dpy = x11Display();
    if (!dpy || !hasShape(dpy))
        return;
    setShape(dpy, Window(window->winId()), ShapeInput, region);
    XFlush(dpy);
}

void setVisibleRegion(QWindow* window, const QRegion& region, bool whole) {
    Display* dpy = x11Display();
    if (!dpy || !hasShape(dpy))
        return;
    const Window w = Window(window->winId());
    if (whole)
        XShapeCombineMask(dpy, w, ShapeBounding, 0, 0, None, ShapeSet);
    else
        setShape(dpy, w, ShapeBounding, region);
    XFlush(dpy);
}

FocusOwner focusOwner() {
    Display* dpy = x11Display();
    return dpy ? FocusOwner(activeWindow(dpy)) : 0;
}

void makeKey(QWindow* window) {
    // The input hint goes up only now, so the window manager never focuses the panel on its
    // own; Qt then asks it for activation with the click's time.
    window->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    window->requestActivate();
}

void resignKey(QWindow* window, FocusOwner previous) {
    const bool holdsFocus = window->isActive();
    window->setFlag(Qt::WindowDoesNotAcceptFocus, true);
    Display* dpy = x11Display();
    if (!dpy || !holdsFocus)
        return;
    const Window w = Window(previous);
    if (previous && w != Window(window->winId()) && windowExists(dpy, w)) {
        if (hasWindowManager(dpy)) {
            // As a pager asks, on the user's behalf: focus-stealing prevention lets it pass.
            sendClientMessage(dpy, w, atom(dpy, "_NET_ACTIVE_WINDOW"), 2, CurrentTime, 0, 0);
        } else {
            XSetInputFocus(dpy, w, RevertToPointerRoot, CurrentTime);
        }
    } else {
        // Nobody to give it back to: keys follow the pointer rather than vanish into the panel.
        XSetInputFocus(dpy, PointerRoot, RevertToPointerRoot, CurrentTime);
    }
    XFlush(dpy);
}

} // namespace PanelWindow
