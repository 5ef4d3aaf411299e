// SPDX-License-Identifier: MIT
// Resident memory across hover changes of an expanded notch on a real X server with a
// compositing manager (so the shadow is drawn, on the GL path): the pointer moves in and out of
// the body through XTest, as a user's would, and every change animates the shadow. Reference,
// same run: the same moves over a notch whose hover changes nothing drawn.
//   xvfb-run -a -s "-screen 0 1920x1080x24" sh -c 'xcompmgr & exec bench_notch_hover [CHANGES]'

#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "SampleScreens.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QScreen>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <unistd.h>

#include <cstdio>

namespace {

// Resident set size in MiB, from /proc/self/statm.
double residentMiB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / (1 << 20) : 0;
}

void spin(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

struct Run {
    double before = 0, after = 0, peak = 0;
    qint64 ms = 0;
};

// Expands a notch, warms up, then moves the pointer in and out `changes` times.
Run hoverRun(NotchHoverBehavior hover, QQmlComponent* content, Display* dpy, int changes) {
    QScreen* screen = QGuiApplication::primaryScreen();
    NotchSurface notch(hover, NotchStyle::notch(), NotchContent(content));
    notch.setScreenMetricsProvider([](QScreen* s) { return notchedScreen(s->geometry()); });
    notch.expand(screen);
    spin(1000);
    NotchPanel* panel = notch.window();
    const QRectF body = panel->layout()->bodyRect().translated(panel->position());
    const QPoint inside = body.center().toPoint();
    const QPoint outside(int(body.right()) + 200, int(body.bottom()) + 200);
    auto move = [&](int i) {
        const QPoint p = i % 2 ? outside : inside;
        XTestFakeMotionEvent(dpy, -1, p.x(), p.y(), CurrentTime);
        XFlush(dpy);
        // Long enough for several frames of the spring, short of its end: what a pointer
        // passing over the notch does.
        spin(120);
    };
    for (int i = 0; i < 40; ++i)
        move(i);
    Run run;
    run.before = residentMiB();
    run.peak = run.before;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < changes; ++i) {
        move(i);
        run.peak = std::max(run.peak, residentMiB());
        if (qEnvironmentVariableIsSet("BENCH_TRACE") && i % 250 == 0)
            std::fprintf(stderr, "%d changes: %.1f MiB\n", i, residentMiB());
    }
    run.ms = clock.elapsed();
    spin(1000);
    run.after = residentMiB();
    notch.hide();
    spin(800);
    return run;
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    auto* x11 = app.nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) {
        std::fprintf(stderr, "bench_notch_hover: needs an X server (xvfb-run, xcb)\n");
        return 1;
    }
    const int changes = argc > 1 ? std::atoi(argv[1]) : 1000;
    QQmlComponent content(NotchPanel::sharedEngine());
    content.setData("import QtQuick\n"
                    "Rectangle { implicitWidth: 400; implicitHeight: 120; radius: 10;"
                    " color: '#1c1c1e'; Text { anchors.centerIn: parent; color: 'white';"
                    " text: 'Sample content' } }",
                    QUrl(QStringLiteral("qrc:/bench/Sample.qml")));
    Display* dpy = x11->display();
    {
        NotchSurface probe(NotchHover::none, NotchStyle::notch(), NotchContent());
        QElapsedTimer t;
        t.start();
        while (!probe.isTranslucent() && t.elapsed() < 5000)
            spin(10);
        if (!probe.isTranslucent()) {
            std::fprintf(stderr, "bench_notch_hover: no compositing manager, so no shadow\n");
            return 1;
        }
    }
    std::printf("renderer: %s\n", qgetenv("QSG_RHI_BACKEND").isEmpty()
                                      ? "default (OpenGL on Xvfb's software GL)"
                                      : qgetenv("QSG_RHI_BACKEND").constData());
    const Run reference = hoverRun(NotchHoverOption::keepVisible, &content, dpy, changes);
    const Run shadow = hoverRun(NotchHover::all, &content, dpy, changes);
    std::printf("| case | hover changes | RSS before | RSS after | growth | peak | time |\n");
    for (const auto& [name, run] : {std::pair{"shadow follows hover (hover: all)", shadow},
                                    std::pair{"reference: hover draws nothing", reference}})
        std::printf("| %s | %d | %.1f MiB | %.1f MiB | %+.1f MiB | %.1f MiB | %.1f s |\n", name,
                    changes, run.before, run.after, run.after - run.before, run.peak,
                    run.ms / 1000.0);
    return 0;
}
