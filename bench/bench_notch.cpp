// SPDX-License-Identifier: MIT
// The session notch under the clock, in one process with the real store, hook server, controller,
// notch panels and views, on the X server of DISPLAY (Xvfb):
//
//   bench_notch first-frame N     hook connection → first frame swapped with the prompt card on
//                                 screen, N times; beside a bare QQuickWindow's first frame
//   bench_notch growth N          resident memory before and after N hover changes and N prompts
//                                 shown and answered
//   bench_notch idle S            CPU and memory over S seconds with 10 idle sessions in the
//                                 notch, then with one of them working; beside a bare
//                                 QQuickWindow idle as long
//   bench_notch hover N           resident memory across N hover changes of an expanded notch
//                                 (pointer moved in and out through XTest) whose shadow follows
//                                 hover; beside the same moves over one whose hover draws
//                                 nothing. Needs a compositing manager (xcompmgr).
//
// The hook server owns /tmp/hollowmere.sock: run under tests/support/isolated.sh (scripts/bench.sh
// does). The notch is drawn as on a notched laptop (HOLLOWMERE_SIMULATE_NOTCH), so its compact
// form is on screen too.
#include "BenchSupport.h"
#include "HookLink/HookServer.h"
#include "Notch/NotchController.h"
#include "NotchLayout.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "SampleScreens.h"
#include "Sessions/SessionStore.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <cstdio>
#include <future>
#include <map>

namespace {

using Bench::Clock;
using Bench::spin;

HookEvent event(int session, HookEvent::Kind kind = HookEvent::Kind::notification) {
    HookEvent e;
    e.kind = kind;
    e.sessionId = "bench-session-" + std::to_string(session);
    e.cwd = "/Users/ada/code/bench-" + std::to_string(session);
    e.timestamp = nowSinceReferenceDate();
    return e;
}

// A Bash permission request of session 0.
HookEvent request(int n) {
    HookEvent e = event(0, HookEvent::Kind::permissionRequest);
    e.tool = "Bash";
    e.toolInput = R"({"command":"touch file-)" + std::to_string(n) + R"(.txt","description":"x"})";
    return e;
}

const HookDecision approve{HookDecision::Decision::approve, {}, {}};

// The app's objects, with `sessions` sessions in the compact notch, each with a live claude.
struct App {
    QTemporaryDir home;
    SessionStore store;
    HookServer server{&store};
    NotchController controller{&store};

    explicit App(int sessions = 1) : store(environment(home, sessions)) {
        server.start();
        controller.start();
        for (int i = 0; i < sessions; ++i)
            store.handle(event(i), {});
        spin([this] { return panel() && panel()->isExposed(); });
        Bench::settle(1500);
    }
    static SessionStore::Environment environment(const QTemporaryDir& home, int sessions) {
        SessionStore::Environment env;
        env.settingsPath = home.filePath("settings.json");
        env.playSound = [](const QString&) {};
        env.runningClaudeCwds = [sessions] {
            std::set<std::string> cwds;
            for (int i = 0; i < sessions; ++i)
                cwds.insert(event(i).cwd);
            return cwds;
        };
        return env;
    }

    NotchPanel* panel() const { return controller.notch()->surface()->window(); }

    // The prompt card, when one is loaded and drawn.
    QQuickItem* card() const {
        NotchPanel* p = panel();
        auto* loader = p && p->rootObject()
                           ? p->rootObject()->findChild<QQuickItem*>("promptCardLoader")
                           : nullptr;
        auto* item = loader ? loader->property("item").value<QQuickItem*>() : nullptr;
        return item && item->isVisible() && item->opacity() > 0 ? item : nullptr;
    }
    void approveSession0() { store.resolve(QString::fromStdString(event(0).sessionId), approve); }
};

struct BareWindow : QQuickWindow {
    BareWindow() {
        setColor(Qt::black);
        resize(960, 540);
    }
};

// Time from showing a bare window to its first frame swapped.
double bareWindowFirstFrame() {
    BareWindow window;
    bool swapped = false;
    QObject::connect(&window, &QQuickWindow::frameSwapped, [&swapped] { swapped = true; });
    const auto start = Clock::now();
    window.show();
    spin([&] { return swapped; });
    return Bench::ms(Clock::now() - start);
}

int firstFrame(int runs) {
    std::vector<double> bare, card;
    for (int i = 0; i < runs; ++i)
        bare.push_back(bareWindowFirstFrame());
    App app;
    for (int i = 0; i < runs; ++i) {
        Clock::time_point connected{}, shown{};
        const auto onFrame = QObject::connect(app.panel(), &QQuickWindow::frameSwapped, [&] {
            if (shown == Clock::time_point{} && app.card())
                shown = Clock::now();
        });
        auto client = std::async(std::launch::async, [&connected, i] {
            connected = Clock::now();
            return Bench::exchange(socketPath, request(i).encode() + "\n");
        });
        if (!spin([&] { return shown != Clock::time_point{}; })) {
            std::fprintf(stderr, "bench_notch: the prompt card never showed\n");
            return 1;
        }
        QObject::disconnect(onFrame);
        card.push_back(Bench::ms(shown - connected));
        app.approveSession0();
        spin([&] { return client.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        Bench::settle(1200); // back to compact, the card gone
    }
    std::sort(bare.begin(), bare.end());
    std::sort(card.begin(), card.end());
    const double b = bare[bare.size() / 2], c = card[card.size() / 2];
    std::printf("prompt card on screen: median %.1f ms, worst %.1f ms; bare window (reference) "
                "%.1f ms; ratio %.2f\n",
                c, card.back(), b, c / b);
    return 0;
}

int growth(int runs) {
    App app;
    NotchSurface* surface = app.controller.notch()->surface();
    int frames = 0;
    QObject::connect(app.panel(), &QQuickWindow::frameSwapped, [&frames] { ++frames; });
    auto nextFrame = [&] {
        const int target = frames + 1;
        spin([&] { return frames >= target; });
    };
    auto hoverRound = [&] {
        surface->updateHoverState(!surface->isHovering());
        nextFrame();
    };
    auto promptRound = [&](int n) {
        app.store.handle(request(n), [](const HookDecision&) {});
        spin([&] { return app.card() != nullptr; });
        nextFrame();
        app.approveSession0();
        nextFrame();
    };
    // Both paths once, so caches and pools are filled before the first reading.
    for (int i = 0; i < 50; ++i) {
        hoverRound();
        promptRound(i);
    }
    auto reading = [&] {
        surface->updateHoverState(false);
        Bench::settle(2000);
        return Bench::residentMiB();
    };
    const double before = reading();
    for (int i = 0; i < runs; ++i)
        hoverRound();
    const double afterHover = reading();
    for (int i = 0; i < runs; ++i)
        promptRound(i);
    const double afterPrompts = reading();
    std::printf("after warm-up (reference) %.1f MiB; %d hover changes %+.1f MiB; %d prompts "
                "%+.1f MiB\n",
                before, runs, afterHover - before, runs, afterPrompts - afterHover);
    return 0;
}

int idle(int seconds) {
    const int ms = seconds * 1000;
    double bareCpu = 0, bareMiB = 0;
    {
        BareWindow window;
        window.show();
        Bench::settle(2000);
        bareCpu = Bench::cpuShareOver(ms);
        bareMiB = Bench::residentMiB();
    }
    App app(10);
    const double idleCpu = Bench::cpuShareOver(ms), idleMiB = Bench::residentMiB();
    // Session 0 starts working: a prompt approved at once.
    app.store.handle(request(0), [](const HookDecision&) {});
    app.approveSession0();
    Bench::settle(2000);
    const double workingCpu = Bench::cpuShareOver(ms), workingMiB = Bench::residentMiB();
    for (const auto& [name, cpu, mib] : {std::tuple{"bare window (reference)", bareCpu, bareMiB},
                                         {"10 idle sessions", idleCpu, idleMiB},
                                         {"one of them working", workingCpu, workingMiB}})
        std::printf("%s: %.2f%% of one core (%.1fx), %.1f MiB\n", name, cpu, cpu / bareCpu, mib);
    return 0;
}

// Expands a notch, warms up, then moves the pointer in and out `changes` times; the growth of
// resident memory in MiB.
double hoverGrowth(NotchHoverBehavior hover, QQmlComponent* content, Display* dpy, int changes) {
    QScreen* screen = QGuiApplication::primaryScreen();
    NotchSurface notch(hover, NotchStyle::notch(), NotchContent(content));
    notch.setScreenMetricsProvider([](QScreen* s) { return notchedScreen(s->geometry()); });
    notch.expand(screen);
    Bench::settle(1000);
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
        Bench::settle(120);
    };
    for (int i = 0; i < 40; ++i)
        move(i);
    const double before = Bench::residentMiB();
    for (int i = 0; i < changes; ++i)
        move(i);
    Bench::settle(1000);
    const double growth = Bench::residentMiB() - before;
    notch.hide();
    Bench::settle(800);
    return growth;
}

// The shadow's memory across hover changes, on an X server with a compositing manager (so the
// shadow takes the GL path): an expanded notch and sample content, no app around it.
int hover(int changes) {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) {
        std::fprintf(stderr, "bench_notch: needs an X server (xvfb-run, xcb)\n");
        return 1;
    }
    QQmlComponent content(NotchPanel::sharedEngine());
    content.setData("import QtQuick\n"
                    "Rectangle { implicitWidth: 400; implicitHeight: 120; radius: 10;"
                    " color: '#1c1c1e'; Text { anchors.centerIn: parent; color: 'white';"
                    " text: 'Sample content' } }",
                    QUrl(QStringLiteral("qrc:/bench/Sample.qml")));
    Display* dpy = x11->display();
    {
        NotchSurface probe(NotchHover::none, NotchStyle::notch(), NotchContent());
        if (!Bench::spin([&] { return probe.isTranslucent(); }, 5000)) {
            std::fprintf(stderr, "bench_notch: no compositing manager, so no shadow\n");
            return 1;
        }
    }
    const double reference = hoverGrowth(NotchHoverOption::keepVisible, &content, dpy, changes);
    const double shadow = hoverGrowth(NotchHover::all, &content, dpy, changes);
    std::printf("%d hover changes: shadow follows hover %+.1f MiB; hover draws nothing "
                "(reference) %+.1f MiB\n",
                changes, shadow, reference);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("HOLLOWMERE_SIMULATE_NOTCH"))
        qputenv("HOLLOWMERE_SIMULATE_NOTCH", "200x32");
    QGuiApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    const std::map<std::string, int (*)(int)> modes{
        {"first-frame", firstFrame}, {"growth", growth}, {"idle", idle}, {"hover", hover}};
    const auto mode = modes.find(argc > 2 ? argv[1] : "");
    if (mode == modes.end()) {
        std::fprintf(stderr, "usage: bench_notch first-frame|growth|idle|hover N\n");
        return 2;
    }
    return mode->second(std::max(1, atoi(argv[2])));
}
