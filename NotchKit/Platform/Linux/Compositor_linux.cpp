// SPDX-License-Identifier: MIT
#include "../Compositor.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

#include <cstdint>

namespace {

// XFixes SelectionNotify as it comes off the wire (xcb hands events over undecoded).
struct SelectionNotifyEvent {
    uint8_t responseType;
    uint8_t subtype;
    uint16_t sequence;
    uint32_t window;
    uint32_t owner;
    uint32_t selection;
    uint32_t timestamp;
    uint32_t selectionTimestamp;
};

// A compositing manager owns the selection _NET_WM_CM_S<screen> while it runs (EWMH). XFixes
// reports every change of its owner on Qt's own connection, so nothing polls.
class X11Compositor : public Compositor, public QAbstractNativeEventFilter {
public:
    explicit X11Compositor(Display* dpy) {
        const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(DefaultScreen(dpy));
        m_selection = XInternAtom(dpy, name.constData(), False);
        int error = 0;
        if (XFixesQueryExtension(dpy, &m_eventBase, &error)) {
            XFixesSelectSelectionInput(dpy, DefaultRootWindow(dpy), m_selection,
                                       XFixesSetSelectionOwnerNotifyMask |
                                           XFixesSelectionWindowDestroyNotifyMask |
                                           XFixesSelectionClientCloseNotifyMask);
            qGuiApp->installNativeEventFilter(this);
        }
        setActive(XGetSelectionOwner(dpy, m_selection) != None);
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        if (m_eventBase < 0 || type != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const SelectionNotifyEvent*>(message);
        if ((event->responseType & 0x7f) != m_eventBase + XFixesSelectionNotify ||
            event->selection != m_selection)
            return false;
        setActive(event->subtype == XFixesSetSelectionOwnerNotify && event->owner != None);
        return false;
    }

private:
    Atom m_selection = None;
    int m_eventBase = -1;
};

} // namespace

Compositor& Compositor::shared() {
    static Compositor* compositor = []() -> Compositor* {
        auto* x11 =
            qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
        // Off X11 (offscreen rendering) transparency is kept as drawn.
        if (!x11 || !x11->display())
            return new Compositor;
        return new X11Compositor(x11->display());
    }();
    return *compositor;
}
