// SPDX-License-Identifier: MIT
// The notch panel on a real desktop: Xvfb with openbox (a reparenting window manager), and a
// compositing manager (xcompmgr) that comes and goes. Clicks and keys are XTest events, as a
// user's would be; what lands where is read back from the X server.
#include <QtTest>

#include "Daemons.h"
#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "SampleScreens.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QScreen>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/shape.h>
#include <X11/keysym.h>
// Xlib's event-type macro would shadow QEvent::KeyPress; XTest needs no name for it.
#undef KeyPress

namespace {

constexpr int wait = Daemons::readyWaitMs;
const char* const display = ":47";

// A window property's format-32 items: atoms, windows or cardinals.
QList<unsigned long> xProperty(Display* dpy, Window w, const char* name, Atom type) {
    Atom actual = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    QList<unsigned long> items;
    if (XGetWindowProperty(dpy, w, XInternAtom(dpy, name, False), 0, 64, False, type, &actual,
                           &format, &count, &after, &data) == Success &&
        data) {
        for (unsigned long i = 0; i < count; ++i)
            items << (reinterpret_cast<const unsigned long*>(data)[i] & 0xFFFFFFFFUL);
        XFree(data);
    }
    return items;
}

QRegion shapeRegion(Display* dpy, Window w, int kind) {
    int count = 0, ordering = 0;
    XRectangle* rects = XShapeGetRectangles(dpy, w, kind, &count, &ordering);
    QRegion region;
    for (int i = 0; i < count; ++i)
        region += QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
    if (rects)
        XFree(rects);
    return region;
}

// Where the window manager keeps a client: its frame, which takes on the client's shapes.
Window frameOf(Display* dpy, Window w) {
    Window root = None, parent = None, *children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(dpy, w, &root, &parent, &children, &count))
        return w;
    if (children)
        XFree(children);
    return parent == root ? w : parent;
}

void click(Display* dpy, QPoint p) {
    XTestFakeMotionEvent(dpy, -1, p.x(), p.y(), CurrentTime);
    XTestFakeButtonEvent(dpy, 1, True, CurrentTime);
    XTestFakeButtonEvent(dpy, 1, False, CurrentTime);
    XFlush(dpy);
}

// A plain window of another client under the whole panel area, recording its clicks.
// Override-redirect, so it stays exactly where it is put, below the panel.
class WindowBelow {
public:
    WindowBelow(Display* dpy, QRect rect) : m_dpy(dpy) {
        XSetWindowAttributes attributes{};
        attributes.override_redirect = True;
        attributes.background_pixel = 0xff0000;
        attributes.event_mask = ButtonPressMask;
        m_window =
            XCreateWindow(dpy, DefaultRootWindow(dpy), rect.x(), rect.y(), unsigned(rect.width()),
                          unsigned(rect.height()), 0, CopyFromParent, InputOutput, CopyFromParent,
                          CWOverrideRedirect | CWBackPixel | CWEventMask, &attributes);
        XMapWindow(dpy, m_window);
        XLowerWindow(dpy, m_window);
        XSync(dpy, False);
    }
    ~WindowBelow() {
        XDestroyWindow(m_dpy, m_window);
        XSync(m_dpy, False);
    }
    int clicks() {
        while (XPending(m_dpy) > 0) {
            XEvent e;
            XNextEvent(m_dpy, &e);
            m_clicks += e.type == ButtonPress ? 1 : 0;
        }
        return m_clicks;
    }
    // Clicks at a point of the screen; true once this window has the press.
    bool takesClickAt(QPoint p) {
        const int before = clicks();
        click(m_dpy, p);
        return QTest::qWaitFor([&] { return clicks() == before + 1; }, wait);
    }

private:
    Display* m_dpy;
    Window m_window;
    int m_clicks = 0;
};

// Counts the presses a window is given.
class PressCounter : public QObject {
public:
    int mouse = 0;
    QString keys;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonPress)
            ++mouse;
        if (event->type() == QEvent::KeyPress)
            keys += static_cast<QKeyEvent*>(event)->text();
        return false;
    }
};

} // namespace

class TestNotchPanelX11 : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void shapeTakesTheClicksWithAndWithoutACompositor();
    void keysAreNeverStolenAndFocusComesBack();

private:
    void type(const char* text);
    void pointerAway();
    // Drawn as the layout wants it, with that input shape on the window and on the frame the
    // window manager keeps it in (openbox copies it over when it gets to it): a click now lands
    // where the user sees the notch.
    bool settled() const {
        NotchPanel* panel = m_notch->window();
        NotchLayout* l = panel ? panel->layout() : nullptr;
        if (!l || l->property("drawnRect").toRectF() != l->bodyRect() ||
            l->property("drawnTopRadius").toDouble() != l->topCornerRadius() ||
            l->property("drawnBottomRadius").toDouble() != l->bottomCornerRadius())
            return false;
        const Window w = Window(panel->winId());
        const QRegion input = shapeRegion(m_dpy, w, ShapeInput);
        return input == panel->inputRegion() &&
               shapeRegion(m_dpy, frameOf(m_dpy, w), ShapeInput) == input;
    }
    Window active() const {
        return Window(
            xProperty(m_dpy, DefaultRootWindow(m_dpy), "_NET_ACTIVE_WINDOW", XA_WINDOW).value(0));
    }
    QScreen* screen() const { return QGuiApplication::primaryScreen(); }

    std::unique_ptr<Daemons::Process> m_openbox;
    // The test's own client connection, apart from Qt's.
    Display* m_dpy = nullptr;
    QQmlComponent* m_expanded = nullptr;
    QQmlComponent* m_side = nullptr;
    std::unique_ptr<NotchSurface> m_notch;
};

void TestNotchPanelX11::initTestCase() {
    QVERIFY(qGuiApp->nativeInterface<QNativeInterface::QX11Application>());
    m_dpy = XOpenDisplay(display);
    QVERIFY(m_dpy);
    m_openbox = std::make_unique<Daemons::Process>("openbox", QStringList{"--sm-disable"});
    QTRY_VERIFY_WITH_TIMEOUT(
        !xProperty(m_dpy, DefaultRootWindow(m_dpy), "_NET_SUPPORTING_WM_CHECK", XA_WINDOW)
             .isEmpty(),
        wait);
    m_expanded = new QQmlComponent(NotchPanel::sharedEngine(), this);
    m_expanded->setData("import QtQuick\nRectangle { implicitWidth: 400; implicitHeight: 120;"
                        " color: '#1c1c1e' }",
                        QUrl(QStringLiteral("qrc:/test/Expanded.qml")));
    m_side = new QQmlComponent(NotchPanel::sharedEngine(), this);
    m_side->setData("import QtQuick\nRectangle { implicitWidth: 40; implicitHeight: 20;"
                    " color: '#2a2a2c' }",
                    QUrl(QStringLiteral("qrc:/test/Side.qml")));
}

void TestNotchPanelX11::cleanupTestCase() {
    if (m_dpy)
        XCloseDisplay(m_dpy);
}

void TestNotchPanelX11::init() {
    m_notch = std::make_unique<NotchSurface>(NotchHover::all, NotchStyle::notch(),
                                             NotchContent(m_expanded), NotchContent(m_side),
                                             NotchContent(m_side));
    m_notch->setScreenMetricsProvider([](QScreen* s) { return notchedScreen(s->geometry()); });
}

void TestNotchPanelX11::cleanup() {
    pointerAway();
    m_notch->hide();
    QTRY_VERIFY_WITH_TIMEOUT(!m_notch->window(), wait);
    m_notch.reset();
}

// The pointer leaves the notch, which would otherwise hold a hide while hovered.
void TestNotchPanelX11::pointerAway() {
    XTestFakeMotionEvent(m_dpy, -1, 10, 1000, CurrentTime);
    XFlush(m_dpy);
}

// Types like a person, a key every 40 ms, with the notch's own event loop running meanwhile.
void TestNotchPanelX11::type(const char* text) {
    for (const char* c = text; *c; ++c) {
        const KeyCode code = XKeysymToKeycode(m_dpy, *c == '\n' ? XK_Return : KeySym(*c));
        XTestFakeKeyEvent(m_dpy, code, True, CurrentTime);
        XTestFakeKeyEvent(m_dpy, code, False, CurrentTime);
        XFlush(m_dpy);
        QTest::qWait(40);
    }
}

void TestNotchPanelX11::shapeTakesTheClicksWithAndWithoutACompositor() {
    WindowBelow below(m_dpy, QRect(480, 0, 960, 540));
    PressCounter counter;
    QVERIFY(!m_notch->isTranslucent());
    m_notch->expand(screen());
    NotchPanel* panel = m_notch->window();
    panel->installEventFilter(&counter);
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    QTRY_VERIFY_WITH_TIMEOUT(settled(), wait);
    const Window w = Window(panel->winId());
    // Above everything, on every desktop (openbox keeps no sticky state: a window on every
    // desktop is what sticky means to it), in no task bar; with an alpha channel to see through.
    for (const char* state :
         {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
        QTRY_VERIFY2_WITH_TIMEOUT(xProperty(m_dpy, w, "_NET_WM_STATE", XA_ATOM)
                                      .contains(XInternAtom(m_dpy, state, False)),
                                  state, wait);
    QCOMPARE(xProperty(m_dpy, w, "_NET_WM_DESKTOP", XA_CARDINAL).value(0), 0xFFFFFFFFUL);
    XWindowAttributes attributes;
    QVERIFY(XGetWindowAttributes(m_dpy, w, &attributes));
    QCOMPARE(attributes.depth, 32);
    QCOMPARE(QSize(attributes.width, attributes.height), QSize(960, 540));

    // No compositor: the window is cut to the drawn outline (its flares widest at the top, its
    // bottom corners rounded). Around the notch the window below takes the clicks. (What the
    // see-through window draws there is probed in the views' own test, on a compositor.)
    const QRegion shape = shapeRegion(m_dpy, w, ShapeBounding);
    QVERIFY((QRegion(280, 0, 400, 137) - shape).isEmpty()); // the straight-sided part
    QVERIFY(!shape.contains(QPoint(267, 100))); // beside a straight side, below the flare
    QVERIFY(!shape.contains(QPoint(282, 155))); // outside a bottom corner
    QCOMPARE(shapeRegion(m_dpy, w, ShapeInput), shape);
    click(m_dpy, QPoint(960, 100));
    QTRY_COMPARE_WITH_TIMEOUT(counter.mouse, 1, wait);
    QVERIFY(below.takesClickAt(QPoint(960, 300)));
    QVERIFY(below.takesClickAt(QPoint(700, 20)));

    // A compositing manager starts: the window is whole again and takes clicks only on its shape.
    auto compositor = std::make_unique<Daemons::Process>("xcompmgr", QStringList{});
    QTRY_VERIFY_WITH_TIMEOUT(m_notch->isTranslucent(), wait);
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, w, ShapeBounding) == QRegion(0, 0, 960, 540), wait);
    QTRY_COMPARE_WITH_TIMEOUT(shapeRegion(m_dpy, w, ShapeInput), shape, wait);
    QVERIFY(below.takesClickAt(QPoint(960, 300)));
    QVERIFY(below.takesClickAt(QPoint(1300, 500)));
    click(m_dpy, QPoint(960, 100));
    QTRY_COMPARE_WITH_TIMEOUT(counter.mouse, 2, wait);

    // The compositor stops: cut again. Hidden, the fading panel takes no click at all.
    compositor.reset();
    QTRY_VERIFY_WITH_TIMEOUT(!m_notch->isTranslucent(), wait);
    QTRY_COMPARE_WITH_TIMEOUT(shapeRegion(m_dpy, w, ShapeBounding), panel->inputRegion(), wait);
    pointerAway();
    m_notch->hide();
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, frameOf(m_dpy, w), ShapeInput).isEmpty(), wait);
    QVERIFY(below.takesClickAt(QPoint(960, 18)));
    QCOMPARE(counter.mouse, 2);
}

void TestNotchPanelX11::keysAreNeverStolenAndFocusComesBack() {
    QTemporaryDir dir;
    const QString typed = dir.filePath("typed");
    Daemons::Process xterm("xterm", {"-fa", "DejaVu Sans Mono", "-geometry", "80x10+0+600", "-e",
                                     "sh", "-c", "stty -echo; cat > " + typed});
    // (what was active before may linger as a window long gone)
    const Window before = active();
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(typed) && active() != None && active() != before, wait);
    const Window terminal = active();

    // (Keys typed while the notch appears stay with the terminal: the desktop end-to-end tests.)
    m_notch->expand(screen());
    NotchPanel* panel = m_notch->window();
    PressCounter counter;
    panel->installEventFilter(&counter);

    // A click on the compact notch is the notch's, yet the keys stay with the terminal.
    m_notch->_compact(screen(), true);
    QTRY_VERIFY_WITH_TIMEOUT(settled(), wait);
    click(m_dpy, QPoint(960, 18));
    QTRY_COMPARE_WITH_TIMEOUT(counter.mouse, 1, wait);
    type("e");
    QCOMPARE(active(), terminal);

    // A click on the expanded notch makes it key; its keys are its own.
    m_notch->_expand(screen(), true);
    QTRY_VERIFY_WITH_TIMEOUT(settled(), wait);
    click(m_dpy, QPoint(960, 100));
    QTRY_VERIFY_WITH_TIMEOUT(active() == Window(panel->winId()) && panel->isActive(), wait);
    type("x");
    QTRY_COMPARE_WITH_TIMEOUT(counter.keys, QString("x"), wait);

    // Hiding gives the keyboard back to the terminal.
    pointerAway();
    m_notch->hide();
    QTRY_COMPARE_WITH_TIMEOUT(active(), terminal, wait);
    type("f\n");
    const auto contents = [&typed] {
        QFile f(typed);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(contents(), QString("ef\n"), wait);
    QCOMPARE(counter.keys, QString("x"));
}

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    Daemons::Process xvfb("Xvfb", {display, "-nolisten", "tcp", "-screen", "0", "1920x1080x24"});
    qputenv("DISPLAY", display);
    qputenv("QT_QPA_PLATFORM", "xcb");
    QDeadlineTimer deadline(wait);
    Display* probe = nullptr;
    while (!(probe = XOpenDisplay(display)) && !deadline.hasExpired())
        QThread::msleep(50);
    if (!probe)
        qFatal("Xvfb did not come up");
    XCloseDisplay(probe);
    QGuiApplication app(argc, argv);
    TestNotchPanelX11 test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notchpanel_x11.moc"
