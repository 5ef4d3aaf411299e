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
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/shape.h>
#include <X11/keysym.h>
// Xlib's event-type macro would shadow QEvent::KeyPress; XTest needs no name for it.
#undef KeyPress

namespace {

constexpr int wait = Daemons::readyWaitMs;
const char* const display = ":47";

// Window properties of one format-32 item or a list of atoms.
unsigned long windowProperty(Display* dpy, Window w, const char* name, Atom type) {
    Atom actual = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    unsigned long value = 0;
    if (XGetWindowProperty(dpy, w, XInternAtom(dpy, name, False), 0, 1, False, type, &actual,
                           &format, &count, &after, &data) == Success &&
        data) {
        if (count == 1)
            value = *reinterpret_cast<const unsigned long*>(data) & 0xFFFFFFFFUL;
        XFree(data);
    }
    return value;
}

QStringList atomList(Display* dpy, Window w, const char* name) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    QStringList names;
    if (XGetWindowProperty(dpy, w, XInternAtom(dpy, name, False), 0, 64, False, XA_ATOM, &type,
                           &format, &count, &after, &data) == Success &&
        data) {
        const auto* atoms = reinterpret_cast<const Atom*>(data);
        for (unsigned long i = 0; i < count; ++i) {
            char* atomName = XGetAtomName(dpy, atoms[i]);
            names << QString::fromLatin1(atomName);
            XFree(atomName);
        }
        XFree(data);
    }
    return names;
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

QString windowClass(Display* dpy, Window w) {
    XClassHint hint{};
    if (!w || !XGetClassHint(dpy, w, &hint))
        return {};
    const QString name = QString::fromLatin1(hint.res_class);
    XFree(hint.res_name);
    XFree(hint.res_class);
    return name;
}

bool acceptsFocus(Display* dpy, Window w) {
    XWMHints* hints = XGetWMHints(dpy, w);
    const bool input = !hints || !(hints->flags & InputHint) || hints->input;
    if (hints)
        XFree(hints);
    return input;
}

// The colour the screen shows at a point, as the X server has it.
QColor screenPixel(Display* dpy, QPoint p) {
    XImage* image = XGetImage(dpy, DefaultRootWindow(dpy), p.x(), p.y(), 1, 1, AllPlanes, ZPixmap);
    if (!image)
        return {};
    const unsigned long v = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return QColor(int((v >> 16) & 0xff), int((v >> 8) & 0xff), int(v & 0xff));
}

bool isRed(const QColor& c) {
    return c.red() > 200 && c.green() < 40 && c.blue() < 40;
}

bool isBlack(const QColor& c) {
    return c.red() < 16 && c.green() < 16 && c.blue() < 16;
}

// A plain window of another client under the whole panel area: red, recording its clicks.
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
    void panelIsAboveEverythingOnEveryDesktop();
    void clicksOutsideTheShapeReachTheWindowBelow_data();
    void clicksOutsideTheShapeReachTheWindowBelow();
    void withoutACompositorTheWindowIsCutToTheShape();
    void keysAreNeverStolenAndFocusComesBack();

private:
    void click(QPoint p);
    void type(const char* text);
    void moveAway();
    // The body drawn where the layout wants it (and expanded).
    bool atRest() const {
        NotchPanel* panel = m_notch->window();
        return panel && panel->layout() &&
               panel->layout()->property("drawnRect").toRectF() == panel->layout()->bodyRect();
    }
    bool expandedAtRest() const { return m_notch->isExpanded() && atRest(); }
    std::unique_ptr<NotchSurface> makeNotch();
    Window active() const {
        return Window(
            windowProperty(m_dpy, DefaultRootWindow(m_dpy), "_NET_ACTIVE_WINDOW", XA_WINDOW));
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
        windowProperty(m_dpy, DefaultRootWindow(m_dpy), "_NET_SUPPORTING_WM_CHECK", XA_WINDOW),
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
    m_notch = makeNotch();
}

void TestNotchPanelX11::cleanup() {
    moveAway();
    m_notch->hide();
    QTRY_VERIFY_WITH_TIMEOUT(!m_notch->window(), wait);
    m_notch.reset();
}

std::unique_ptr<NotchSurface> TestNotchPanelX11::makeNotch() {
    auto notch = std::make_unique<NotchSurface>(NotchHover::all, NotchStyle::notch(),
                                                NotchContent(m_expanded), NotchContent(m_side),
                                                NotchContent(m_side));
    notch->setScreenMetricsProvider([](QScreen* s) { return notchedScreen(s->geometry()); });
    return notch;
}

void TestNotchPanelX11::click(QPoint p) {
    XTestFakeMotionEvent(m_dpy, -1, p.x(), p.y(), CurrentTime);
    XTestFakeButtonEvent(m_dpy, 1, True, CurrentTime);
    XTestFakeButtonEvent(m_dpy, 1, False, CurrentTime);
    XFlush(m_dpy);
}

// The pointer leaves the notch, which would otherwise hold a hide while hovered.
void TestNotchPanelX11::moveAway() {
    XTestFakeMotionEvent(m_dpy, -1, 10, 1000, CurrentTime);
    XFlush(m_dpy);
}

// Types like a person, a key every 40 ms, with the notch's own event loop running meanwhile.
void TestNotchPanelX11::type(const char* text) {
    for (const char* c = text; *c; ++c) {
        const KeySym sym = *c == '\n' ? XK_Return : KeySym(*c);
        const KeyCode code = XKeysymToKeycode(m_dpy, sym);
        XTestFakeKeyEvent(m_dpy, code, True, CurrentTime);
        XTestFakeKeyEvent(m_dpy, code, False, CurrentTime);
        XFlush(m_dpy);
        QTest::qWait(40);
    }
}

void TestNotchPanelX11::panelIsAboveEverythingOnEveryDesktop() {
    m_notch->compact(screen());
    NotchPanel* panel = m_notch->window();
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    const Window w = Window(panel->winId());
    QTRY_VERIFY_WITH_TIMEOUT(atomList(m_dpy, w, "_NET_WM_STATE").contains("_NET_WM_STATE_ABOVE"),
                             wait);
    const QStringList states = atomList(m_dpy, w, "_NET_WM_STATE");
    // (openbox keeps no sticky state: a window on every desktop is what sticky means to it)
    for (const char* state : {"_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
        QVERIFY2(states.contains(QLatin1String(state)), state);
    QCOMPARE(windowProperty(m_dpy, w, "_NET_WM_DESKTOP", XA_CARDINAL), 0xFFFFFFFFUL);
    XWindowAttributes attributes;
    QVERIFY(XGetWindowAttributes(m_dpy, w, &attributes));
    QCOMPARE(attributes.depth, 32); // an alpha channel: the panel is see-through
    QCOMPARE(QSize(attributes.width, attributes.height), QSize(960, 540));
}

void TestNotchPanelX11::clicksOutsideTheShapeReachTheWindowBelow_data() {
    QTest::addColumn<bool>("composited");
    // Cut to its shape the window passes clicks anyway; whole and see-through, only its input
    // shape does.
    QTest::newRow("no compositor") << false;
    QTest::newRow("compositor") << true;
}

void TestNotchPanelX11::clicksOutsideTheShapeReachTheWindowBelow() {
    QFETCH(bool, composited);
    std::unique_ptr<Daemons::Process> compositor;
    if (composited)
        compositor = std::make_unique<Daemons::Process>("xcompmgr", QStringList{});
    QTRY_COMPARE_WITH_TIMEOUT(m_notch->isTranslucent(), composited, wait);
    WindowBelow below(m_dpy, QRect(480, 0, 960, 540));
    auto* counter = new PressCounter;
    m_notch->compact(screen());
    NotchPanel* panel = m_notch->window();
    panel->installEventFilter(counter);
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    QTRY_VERIFY_WITH_TIMEOUT(atRest(), wait);
    // (openbox gives the client's shapes to the frame it keeps it in, when it gets to it)
    const Window frame = frameOf(m_dpy, Window(panel->winId()));
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, frame, ShapeInput) ==
                                 shapeRegion(m_dpy, Window(panel->winId()), ShapeInput),
                             wait);
    // The body, 312 + 2 × 40 + 12 wide, hangs from the top centre; below and beside it the
    // panel is transparent.
    const QRectF body = panel->layout()->bodyRect().translated(panel->position());
    QCOMPARE(body, QRectF(960 - 202, 0, 404, 37));
    for (const QPoint p : {QPoint(960, 300), QPoint(700, 20), QPoint(1300, 500)}) {
        const int before = below.clicks();
        click(p);
        QTRY_COMPARE_WITH_TIMEOUT(below.clicks(), before + 1, wait);
    }
    QCOMPARE(counter->mouse, 0);
    // On the body the notch takes the click; the window below never sees it.
    click(QPoint(960, 18));
    QTRY_COMPARE_WITH_TIMEOUT(counter->mouse, 1, wait);
    QTest::qWait(200);
    QCOMPARE(below.clicks(), 3);

    // Expanded, the body grows and takes clicks where it now is; hidden, the fading panel takes
    // none at all.
    m_notch->_expand(screen(), true);
    QTRY_VERIFY_WITH_TIMEOUT(expandedAtRest(), wait);
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, frame, ShapeInput) ==
                                 shapeRegion(m_dpy, Window(panel->winId()), ShapeInput),
                             wait);
    click(QPoint(960, 100));
    QTRY_COMPARE_WITH_TIMEOUT(counter->mouse, 2, wait);
    click(QPoint(960, 300));
    QTRY_COMPARE_WITH_TIMEOUT(below.clicks(), 4, wait);
    m_notch->hide();
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, frame, ShapeInput).isEmpty(), wait);
    click(QPoint(960, 18));
    QTRY_COMPARE_WITH_TIMEOUT(below.clicks(), 5, wait);
    QCOMPARE(counter->mouse, 2);
    delete counter;
    compositor.reset();
    QTRY_VERIFY_WITH_TIMEOUT(!m_notch->isTranslucent(), wait);
}

void TestNotchPanelX11::withoutACompositorTheWindowIsCutToTheShape() {
    WindowBelow below(m_dpy, QRect(480, 0, 960, 540));
    QVERIFY(!m_notch->isTranslucent());
    m_notch->expand(screen());
    NotchPanel* panel = m_notch->window();
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    NotchLayout* layout = panel->layout();
    QTRY_VERIFY_WITH_TIMEOUT(atRest(), wait);
    const Window w = Window(panel->winId());
    // The window is cut to the drawn outline: 430 × 157 from x 265 of the panel, its flares
    // widest at the top, its bottom corners rounded; no shadow.
    QCOMPARE(layout->bodyRect(), QRectF(265, 0, 430, 157));
    QCOMPARE(layout->shadowOpacity(), 0.0);
    const QRegion shape = shapeRegion(m_dpy, w, ShapeBounding);
    QVERIFY(QRect(265, 0, 430, 157).contains(shape.boundingRect()));
    QVERIFY((QRegion(280, 0, 400, 137) - shape).isEmpty()); // the straight-sided part
    QVERIFY(shape.contains(QPoint(270, 0)));
    QVERIFY(!shape.contains(QPoint(267, 100))); // beside a straight side, below the flare
    QVERIFY(!shape.contains(QPoint(282, 155))); // outside a bottom corner
    QCOMPARE(shapeRegion(m_dpy, w, ShapeInput), shape);
    // What the screen shows: the notch, and around it the window below, not a black panel.
    QTRY_VERIFY_WITH_TIMEOUT(isBlack(screenPixel(m_dpy, QPoint(960, 18))), wait);
    for (const QPoint p : {QPoint(600, 300), QPoint(740, 100), QPoint(960, 170)})
        QVERIFY2(isRed(screenPixel(m_dpy, p)),
                 qPrintable(QString("at %1, %2").arg(p.x()).arg(p.y())));

    // A compositing manager starts: the window is whole again, see-through, and casts a shadow
    // that darkens what lies just below the body.
    auto compositor = std::make_unique<Daemons::Process>("xcompmgr", QStringList{});
    QTRY_VERIFY_WITH_TIMEOUT(m_notch->isTranslucent(), wait);
    QTRY_VERIFY_WITH_TIMEOUT(shapeRegion(m_dpy, w, ShapeBounding) == QRegion(0, 0, 960, 540), wait);
    QCOMPARE(layout->shadowOpacity(), 0.5);
    QTRY_VERIFY_WITH_TIMEOUT(isRed(screenPixel(m_dpy, QPoint(600, 300))), wait);
    QTRY_VERIFY_WITH_TIMEOUT(screenPixel(m_dpy, QPoint(960, 159)).red() < 235, wait);
    QVERIFY(isRed(screenPixel(m_dpy, QPoint(960, 190))));
    QVERIFY(isBlack(screenPixel(m_dpy, QPoint(960, 18))));
    QCOMPARE(shapeRegion(m_dpy, w, ShapeInput), shape);

    // It stops: cut again.
    compositor.reset();
    QTRY_VERIFY_WITH_TIMEOUT(!m_notch->isTranslucent(), wait);
    QTRY_COMPARE_WITH_TIMEOUT(shapeRegion(m_dpy, w, ShapeBounding), shape, wait);
    QTRY_VERIFY_WITH_TIMEOUT(isRed(screenPixel(m_dpy, QPoint(960, 170))), wait);
}

void TestNotchPanelX11::keysAreNeverStolenAndFocusComesBack() {
    QTemporaryDir dir;
    const QString typed = dir.filePath("typed");
    Daemons::Process xterm("xterm", {"-fa", "DejaVu Sans Mono", "-geometry", "80x10+0+600", "-e",
                                     "sh", "-c", "stty -echo; cat > " + typed});
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(typed), wait);
    QTRY_COMPARE_WITH_TIMEOUT(windowClass(m_dpy, active()), QString("XTerm"), wait);
    const Window terminal = active();
    type("ab");

    // Shown expanded while the user types: every key still lands in the terminal.
    m_notch->expand(screen());
    type("cd");
    NotchPanel* panel = m_notch->window();
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    type("e");
    QVERIFY(!acceptsFocus(m_dpy, Window(panel->winId())));
    m_notch->_compact(screen(), true);
    m_notch->_expand(screen(), false);
    type("fg");
    QCOMPARE(active(), terminal);
    QTRY_VERIFY_WITH_TIMEOUT(expandedAtRest(), wait);

    // A click on the compact notch is the notch's, yet the keys stay with the terminal.
    auto* counter = new PressCounter;
    panel->installEventFilter(counter);
    m_notch->_compact(screen(), true);
    QTRY_VERIFY_WITH_TIMEOUT(atRest(), wait);
    click(QPoint(960, 18));
    QTRY_COMPARE_WITH_TIMEOUT(counter->mouse, 1, wait);
    QTest::qWait(200);
    type("h");
    QCOMPARE(active(), terminal);

    // A click on the expanded notch makes it key; its keys are its own.
    m_notch->_expand(screen(), true);
    QTRY_VERIFY_WITH_TIMEOUT(expandedAtRest(), wait);
    click(QPoint(960, 100));

    QTRY_COMPARE_WITH_TIMEOUT(active(), Window(panel->winId()), wait);
    QTRY_VERIFY_WITH_TIMEOUT(panel->isActive(), wait);
    type("x");
    QTRY_COMPARE_WITH_TIMEOUT(counter->keys, QString("x"), wait);

    // Collapsing gives the keyboard back to the terminal; so does hiding.
    m_notch->compact(screen());
    QTRY_COMPARE_WITH_TIMEOUT(active(), terminal, wait);
    type("i");
    m_notch->expand(screen());
    QTRY_VERIFY_WITH_TIMEOUT(expandedAtRest(), wait);
    click(QPoint(960, 100));
    QTRY_VERIFY_WITH_TIMEOUT(panel->isActive(), wait);
    moveAway();
    m_notch->hide();
    QTRY_COMPARE_WITH_TIMEOUT(active(), terminal, wait);
    type("j\n");
    QTRY_COMPARE_WITH_TIMEOUT(
        [&] {
            QFile f(typed);
            return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
        }(),
        QString("abcdefghij\n"), wait);
    QCOMPARE(counter->keys, QString("x"));
    delete counter;
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
