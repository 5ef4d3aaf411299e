// SPDX-License-Identifier: MIT
// The notch panel as an X server sees it (run under Xvfb): above everything on every desktop,
// 32-bit transparent, input only over the drawn shape, focusable only while expanded.
#include <QtTest>

#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QScreen>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/shape.h>

#include "SampleScreens.h"

namespace {

QStringList atomProperty(Display* dpy, Window w, const char* name) {
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

// The 32-bit value, or -1 when the property is missing.
qint64 cardinalProperty(Display* dpy, Window w, const char* name) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    qint64 value = -1;
    if (XGetWindowProperty(dpy, w, XInternAtom(dpy, name, False), 0, 1, False, XA_CARDINAL, &type,
                           &format, &count, &after, &data) == Success &&
        data) {
        if (count == 1)
            // Xlib hands format-32 data out as longs, sign-extended.
            value = qint64(*reinterpret_cast<const unsigned long*>(data) & 0xFFFFFFFFUL);
        XFree(data);
    }
    return value;
}

QList<QRect> inputRegion(Display* dpy, Window w) {
    int count = 0, ordering = 0;
    XRectangle* rects = XShapeGetRectangles(dpy, w, ShapeInput, &count, &ordering);
    QList<QRect> out;
    for (int i = 0; i < count; ++i)
        out << QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
    if (rects)
        XFree(rects);
    return out;
}

bool acceptsFocus(Display* dpy, Window w) {
    XWMHints* hints = XGetWMHints(dpy, w);
    const bool input = !hints || !(hints->flags & InputHint) || hints->input;
    if (hints)
        XFree(hints);
    return input;
}

} // namespace

class TestNotchPanelX11 : public QObject {
    Q_OBJECT
private slots:
    void panelIsAboveEverythingAndTakesInputOnlyOverTheShape();
};

void TestNotchPanelX11::panelIsAboveEverythingAndTakesInputOnlyOverTheShape() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11)
        QSKIP("needs an X server (run under xvfb-run with QT_QPA_PLATFORM=xcb)");
    Display* dpy = x11->display();
    QScreen* screen = QGuiApplication::primaryScreen();

    QQmlComponent content(NotchPanel::sharedEngine());
    content.setData("import QtQuick\nItem { implicitWidth: 400; implicitHeight: 120 }",
                    QUrl(QStringLiteral("qrc:/test/Blank.qml")));
    NotchSurface notch(NotchHover::none, NotchStyle::notch(), NotchContent(&content));
    notch.setScreenMetricsProvider([](QScreen*) { return notchedLaptop(); });
    notch.compact(screen);
    NotchPanel* panel = notch.window();
    QVERIFY(QTest::qWaitForWindowExposed(panel));
    const Window w = Window(panel->winId());
    XSync(dpy, False);

    const QStringList states = atomProperty(dpy, w, "_NET_WM_STATE");
    for (const char* state : {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY",
                              "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
        QVERIFY2(states.contains(QLatin1String(state)), state);
    QCOMPARE(cardinalProperty(dpy, w, "_NET_WM_DESKTOP"), qint64(0xFFFFFFFF));
    XWindowAttributes attributes;
    QVERIFY(XGetWindowAttributes(dpy, w, &attributes));
    QCOMPARE(attributes.depth, 32); // an alpha channel: the panel is see-through
    QCOMPARE(QSize(attributes.width, attributes.height), QSize(756, 491));

    // Compact: clicks land only on the body; no keyboard focus.
    NotchLayout* layout = panel->layout();
    QVERIFY(layout);
    QTRY_COMPARE(inputRegion(dpy, w), QList<QRect>{layout->hitRect().toAlignedRect()});
    QCOMPARE(inputRegion(dpy, w).constFirst().height(), 37);
    QVERIFY(!acceptsFocus(dpy, w));

    // Expanded: the region grows with the body, and the panel may take focus.
    notch._expand(screen, true);
    QTRY_COMPARE(inputRegion(dpy, w), QList<QRect>{QRect(163, 0, 430, 157)});
    QTRY_VERIFY(acceptsFocus(dpy, w));

    // Hidden: the fading panel takes no clicks at all.
    notch.hide();
    QTRY_VERIFY(inputRegion(dpy, w).isEmpty());
    QTRY_VERIFY(!notch.window());
}

QTEST_MAIN(TestNotchPanelX11)
#include "tst_notchpanel_x11.moc"
