// SPDX-License-Identifier: MIT
// Media keys on X11: the five keys are grabbed on the root window, so the desktop never sees them,
// and their presses are handed on as the keyboard's auxiliary-key events. A desktop that holds
// the keys itself refuses the grab (BadAccess); the monitors then still report observed changes.
#include "HUD/MediaKeys.h"
#include "Platform/MediaKeyTap.h"

#include <QDebug>
#include <QSocketNotifier>

#include <X11/XF86keysym.h>
#include <X11/Xlib.h>

#include <array>
#include <vector>

namespace {

struct GrabbedKey {
    KeySym keysym;
    const char* name;
    quint32 auxCode;
    KeyCode keycode = 0;
};

bool grabRefused = false;

int recordGrabError(Display*, XErrorEvent* error) {
    if (error->error_code == BadAccess)
        grabRefused = true;
    return 0;
}

class X11MediaKeyTap final : public MediaKeyTap {
public:
    ~X11MediaKeyTap() override;
    bool install(Handler handler) override;

private:
    void drain();

    Display* m_display = nullptr;
    Handler m_handler;
    std::vector<GrabbedKey> m_grabbed;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

X11MediaKeyTap::~X11MediaKeyTap() {
    m_notifier.reset();
    if (!m_display)
        return;
    const Window root = DefaultRootWindow(m_display);
    for (const GrabbedKey& key : m_grabbed)
        XUngrabKey(m_display, key.keycode, AnyModifier, root);
    XCloseDisplay(m_display);
}

bool X11MediaKeyTap::install(Handler handler) {
    if (m_display)
        return !m_grabbed.empty();
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        qWarning().noquote() << "HUDSuppressor: no X display, media keys are left to the desktop";
        return false;
    }
    m_handler = std::move(handler);
    const Window root = DefaultRootWindow(m_display);
    const std::array<GrabbedKey, 5> keys{{
        {XF86XK_AudioRaiseVolume, "XF86AudioRaiseVolume", MediaKeys::soundUpCode},
        {XF86XK_AudioLowerVolume, "XF86AudioLowerVolume", MediaKeys::soundDownCode},
        {XF86XK_MonBrightnessUp, "XF86MonBrightnessUp", MediaKeys::brightnessUpCode},
        {XF86XK_MonBrightnessDown, "XF86MonBrightnessDown", MediaKeys::brightnessDownCode},
        {XF86XK_AudioMute, "XF86AudioMute", MediaKeys::muteCode},
    }};
    // Grab errors arrive asynchronously; a sync after each grab ties them to the key.
    XSync(m_display, False);
    auto* previous = XSetErrorHandler(&recordGrabError);
    for (GrabbedKey key : keys) {
        key.keycode = XKeysymToKeycode(m_display, key.keysym);
        if (key.keycode == 0) {
            qWarning().noquote() << "HUDSuppressor:" << key.name << "is not on this keyboard";
            continue;
        }
        grabRefused = false;
        XGrabKey(m_display, key.keycode, AnyModifier, root, False, GrabModeAsync, GrabModeAsync);
        XSync(m_display, False);
        if (grabRefused) {
            qWarning().noquote() << "HUDSuppressor:" << key.name
                                 << "is held by another program (BadAccess); the HUD follows "
                                    "observed changes instead";
            continue;
        }
        m_grabbed.push_back(key);
    }
    XSetErrorHandler(previous);
    if (m_grabbed.empty())
        return false;

    m_notifier =
        std::make_unique<QSocketNotifier>(ConnectionNumber(m_display), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { drain(); });
    drain();
    return true;
}

void X11MediaKeyTap::drain() {
    while (XPending(m_display) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        if (event.type != KeyPress && event.type != KeyRelease)
            continue;
        for (const GrabbedKey& key : m_grabbed) {
            if (key.keycode != event.xkey.keycode)
                continue;
            const quint32 state =
                event.type == KeyPress ? MediaKeys::keyDownState : MediaKeys::keyUpState;
            m_handler(MediaKeys::auxKeyEvent(key.auxCode, state));
            break;
        }
    }
}

} // namespace

std::unique_ptr<MediaKeyTap> makeMediaKeyTap() {
    return std::make_unique<X11MediaKeyTap>();
}
