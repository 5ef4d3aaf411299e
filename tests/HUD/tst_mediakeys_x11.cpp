// SPDX-License-Identifier: MIT
// Media keys on a real X server: XTest presses reach our grab and never reach the focused window.
#include "Daemons.h"
#include "HUD/SystemHUDSuppressor.h"
#include "Platform/MediaKeyTap.h"

#include <X11/XF86keysym.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {

// A client with a focused window that records the key codes it is given.
class FocusedWindow {
public:
    explicit FocusedWindow(Display* display) : m_display(display) {
        m_window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 200, 100, 0, 0, 0);
        XSelectInput(display, m_window, KeyPressMask | KeyReleaseMask | ExposureMask);
        XMapWindow(display, m_window);
        XSync(display, False);
        XSetInputFocus(display, m_window, RevertToParent, CurrentTime);
        XSync(display, False);
    }
    // Reads what has arrived; the key codes of presses, in order.
    const std::vector<unsigned>& pressed() {
        while (XPending(m_display) > 0) {
            XEvent e;
            XNextEvent(m_display, &e);
            if (e.type == KeyPress)
                m_pressed.push_back(e.xkey.keycode);
        }
        return m_pressed;
    }

private:
    Display* m_display;
    Window m_window;
    std::vector<unsigned> m_pressed;
};

} // namespace

class TestMediaKeysX11 : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        m_xvfb = std::make_unique<Daemons::Process>(
            "Xvfb", QStringList{":42", "-nolisten", "tcp", "-screen", "0", "640x480x24"});
        qputenv("DISPLAY", ":42");
        QDeadlineTimer deadline(Daemons::readyWaitMs);
        while (!(m_display = XOpenDisplay(":42")) && !deadline.hasExpired())
            QTest::qWait(100);
        QVERIFY(m_display);
    }

    void cleanupTestCase() {
        m_suppressor.reset();
        if (m_display)
            XCloseDisplay(m_display);
    }

    void pressesReachTheGrabAndAreSwallowed() {
        FocusedWindow window(m_display);
        QStringList calls;
        m_suppressor =
            std::make_unique<SystemHUDSuppressor>(makeMediaKeyTap(), [](bool) { return true; });
        m_suppressor->onVolumeUp = [&] { calls << "up"; };
        m_suppressor->onVolumeDown = [&] { calls << "down"; };
        m_suppressor->onVolumeMute = [&] { calls << "mute"; };
        m_suppressor->onBrightnessUp = [&] { calls << "bright+"; };
        m_suppressor->onBrightnessDown = [&] { calls << "bright-"; };
        m_suppressor->start();
        QVERIFY(m_suppressor->isRunning());

        // Play/pause is not ours: it reaches the window, and so would ours have, before the 'a'.
        for (KeySym key : {XF86XK_AudioRaiseVolume, XF86XK_AudioLowerVolume,
                           XF86XK_AudioLowerVolume, XF86XK_AudioMute, XF86XK_MonBrightnessUp,
                           XF86XK_MonBrightnessDown, XF86XK_AudioPlay, XK_a})
            tap(key);
        QTRY_COMPARE_WITH_TIMEOUT(window.pressed().size(), size_t(2), Daemons::readyWaitMs);
        QCOMPARE(window.pressed(),
                 (std::vector<unsigned>{XKeysymToKeycode(m_display, XF86XK_AudioPlay),
                                        XKeysymToKeycode(m_display, XK_a)}));
        QTRY_COMPARE_WITH_TIMEOUT(calls.size(), 6, Daemons::readyWaitMs);
        QCOMPARE(calls, QStringList({"up", "down", "down", "mute", "bright+", "bright-"}));

        // Holding a key: the server repeats the press, and each repeat is one more step.
        const KeyCode down = XKeysymToKeycode(m_display, XF86XK_AudioLowerVolume);
        XTestFakeKeyEvent(m_display, down, True, CurrentTime);
        XFlush(m_display);
        QTRY_VERIFY_WITH_TIMEOUT(calls.count("down") >= 5, Daemons::readyWaitMs);
        XTestFakeKeyEvent(m_display, down, False, CurrentTime);
        tap(XK_c);
        QTRY_COMPARE_WITH_TIMEOUT(window.pressed().size(), size_t(3), Daemons::readyWaitMs);
        QCOMPARE(window.pressed()[2], unsigned(XKeysymToKeycode(m_display, XK_c)));
    }

    void aSecondGrabIsRefusedAndLogged() {
        QVERIFY(m_suppressor && m_suppressor->isRunning());
        for (const char* key : {"XF86AudioRaiseVolume", "XF86AudioLowerVolume",
                                "XF86MonBrightnessUp", "XF86MonBrightnessDown", "XF86AudioMute"})
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QString("HUDSuppressor: %1 is held by another "
                                                            "program \\(BadAccess\\)")
                                                        .arg(key)));
        SystemHUDSuppressor second(makeMediaKeyTap(), [](bool) { return true; });
        second.start();
        QVERIFY(!second.isRunning());
    }

private:
    void tap(KeySym keysym) {
        const KeyCode code = XKeysymToKeycode(m_display, keysym);
        QVERIFY2(code != 0, "key not in the server's keymap");
        XTestFakeKeyEvent(m_display, code, True, CurrentTime);
        XTestFakeKeyEvent(m_display, code, False, CurrentTime);
        XFlush(m_display);
    }

    std::unique_ptr<Daemons::Process> m_xvfb;
    Display* m_display = nullptr;
    std::unique_ptr<SystemHUDSuppressor> m_suppressor;
};

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestMediaKeysX11 test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mediakeys_x11.moc"
