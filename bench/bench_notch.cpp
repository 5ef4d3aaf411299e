// SPDX-License-Identifier: MIT
// The session notch under the clock, in one process with the real store, hook server, controller,
// notch panels and views, on the X server of DISPLAY (Xvfb):
//
//   bench_notch first-frame [N]   hook connection → first frame swapped with the prompt card on
//                                 screen, N times; beside a bare QQuickWindow's first frame
//   bench_notch growth [N]        resident memory before and after N hover changes and N prompts
//                                 shown and answered
//   bench_notch bare-window       one bare QQuickWindow, idle: the reference of notch_idle.py
//
// The hook server owns /tmp/hollowmere.sock: run under tests/support/isolated.sh (scripts/bench.sh
// does). The notch is drawn as on a notched laptop (HOLLOWMERE_SIMULATE_NOTCH), so its compact
// form is on screen too.
#include "HookLink/HookServer.h"
#include "Notch/NotchController.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "Sessions/SessionStore.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

long residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

// Runs an event loop until `done` holds or `timeoutMs` passed; false on time-out. A loop that
// exec()s, as the app's does: objects the views let go of with deleteLater() are deleted only
// when such a loop runs, never by processEvents() from outside one (which would keep every
// prompt card ever shown and read as growth).
template <typename Predicate> bool spin(Predicate done, int timeoutMs = 30000) {
    if (done())
        return true;
    QElapsedTimer t;
    t.start();
    QEventLoop loop;
    QTimer poll;
    bool met = false;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        met = done();
        if (met || t.elapsed() > timeoutMs)
            loop.quit();
    });
    poll.start(2);
    loop.exec();
    return met;
}

void settle(int msToWait) {
    QElapsedTimer t;
    t.start();
    spin([&] { return t.elapsed() >= msToWait; }, msToWait + 1000);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

HookEvent request(int n) {
    HookEvent e;
    e.kind = HookEvent::Kind::permissionRequest;
    e.sessionId = "bench-session";
    e.cwd = "/Users/ada/code/bench";
    e.tool = "Bash";
    e.toolInput = R"({"command":"touch file-)" + std::to_string(n) + R"(.txt","description":"x"})";
    e.timestamp = nowSinceReferenceDate();
    return e;
}

// The app's objects, a session in the compact notch.
struct App {
    SessionStore store{[] {
        SessionStore::Environment env;
        env.playSound = [](const QString&) {};
        return env;
    }()};
    HookServer server{&store};
    NotchController controller{&store};

    App() {
        server.start();
        controller.start();
        HookEvent hello;
        hello.sessionId = "bench-session";
        hello.cwd = "/Users/ada/code/bench";
        hello.timestamp = nowSinceReferenceDate();
        store.handle(hello, {});
        spin([this] { return panel() && panel()->isExposed(); });
        settle(1500);
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
};

// What hollowmere-hook does: connect, write one line, read until the server closes.
std::string exchange(const std::string& line) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath, sizeof address.sun_path - 1);
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        send(fd, line.data(), line.size(), MSG_NOSIGNAL) == ssize_t(line.size())) {
        char buffer[512];
        for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
            answer.append(buffer, size_t(n));
    }
    close(fd);
    return answer;
}

// Time from showing a bare window to its first frame swapped.
double bareWindowFirstFrame() {
    QQuickWindow window;
    window.setColor(Qt::black);
    window.resize(960, 540);
    bool swapped = false;
    QObject::connect(&window, &QQuickWindow::frameSwapped, [&swapped] { swapped = true; });
    const auto start = Clock::now();
    window.show();
    spin([&] { return swapped; });
    return ms(Clock::now() - start);
}

int firstFrame(int runs) {
    std::vector<double> bare, card;
    for (int i = 0; i < runs; ++i)
        bare.push_back(bareWindowFirstFrame());
    App app;
    for (int i = 0; i < runs; ++i) {
        NotchPanel* panel = app.panel();
        Clock::time_point connected{}, shown{};
        const auto onFrame = QObject::connect(panel, &QQuickWindow::frameSwapped, [&] {
            if (shown == Clock::time_point{} && app.card())
                shown = Clock::now();
        });
        auto client = std::async(std::launch::async, [&connected, i] {
            connected = Clock::now();
            return exchange(request(i).encode() + "\n");
        });
        if (!spin([&] { return shown != Clock::time_point{}; })) {
            std::fprintf(stderr, "bench_notch: the prompt card never showed\n");
            return 1;
        }
        QObject::disconnect(onFrame);
        card.push_back(ms(shown - connected));
        app.store.resolve(QStringLiteral("bench-session"),
                          HookDecision{HookDecision::Decision::approve, {}, {}});
        spin([&] { return client.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        settle(1200); // back to compact, the card gone
    }
    const double b = median(bare), c = median(card);
    std::printf("first frame, bare QQuickWindow (reference)   median %.1f ms (%d runs)\n", b, runs);
    std::printf("hook connection -> prompt card on screen     median %.1f ms, worst %.1f ms\n", c,
                *std::max_element(card.begin(), card.end()));
    std::printf("ratio                                         %.2f\n", b > 0 ? c / b : 0);
    return 0;
}

int growth(int runs) {
    App app;
    NotchSurface* surface = app.controller.notch()->surface();
    int frames = 0;
    auto counting = [&](NotchPanel* panel) {
        return QObject::connect(panel, &QQuickWindow::frameSwapped, [&frames] { ++frames; });
    };
    auto nextFrames = [&](int n) {
        const int target = frames + n;
        return spin([&] { return frames >= target; });
    };
    // Warm up both paths once, so caches and pools are filled before the first reading.
    auto hoverRound = [&] {
        surface->updateHoverState(!surface->isHovering());
        nextFrames(1);
    };
    auto promptRound = [&](int n) {
        app.store.handle(request(n), [](const HookDecision&) {});
        spin([&] { return app.card() != nullptr; });
        nextFrames(1);
        app.store.resolve(QStringLiteral("bench-session"),
                          HookDecision{HookDecision::Decision::approve, {}, {}});
        nextFrames(1);
    };
    auto counter = counting(app.panel());
    for (int i = 0; i < 50; ++i) {
        hoverRound();
        promptRound(i);
    }
    surface->updateHoverState(false);
    settle(2000);
    const long before = residentKiB();
    for (int i = 0; i < runs; ++i)
        hoverRound();
    surface->updateHoverState(false);
    settle(2000);
    const long afterHover = residentKiB();
    for (int i = 0; i < runs; ++i)
        promptRound(i);
    settle(2000);
    const long afterPrompts = residentKiB();
    QObject::disconnect(counter);
    std::printf("resident memory after warm-up (reference)    %.1f MB\n", before / 1024.0);
    std::printf("after %d hover changes                       %.1f MB (%+.1f MB)\n", runs,
                afterHover / 1024.0, (afterHover - before) / 1024.0);
    std::printf("after %d prompts shown and answered          %.1f MB (%+.1f MB)\n", runs,
                afterPrompts / 1024.0, (afterPrompts - afterHover) / 1024.0);
    std::printf("frames drawn                                  %d\n", frames);
    return 0;
}

int bareWindow() {
    QQuickWindow window;
    window.setColor(Qt::black);
    window.resize(960, 540);
    window.show();
    std::printf("ready\n");
    std::fflush(stdout);
    return QGuiApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("HOLLOWMERE_SIMULATE_NOTCH"))
        qputenv("HOLLOWMERE_SIMULATE_NOTCH", "200x32");
    QGuiApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    const QString mode = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    const int runs = argc > 2 ? std::max(1, atoi(argv[2])) : 0;
    if (mode == QLatin1String("first-frame"))
        return firstFrame(runs ? runs : 20);
    if (mode == QLatin1String("growth"))
        return growth(runs ? runs : 1000);
    if (mode == QLatin1String("bare-window"))
        return bareWindow();
    std::fprintf(stderr, "usage: bench_notch first-frame [N] | growth [N] | bare-window\n");
    return 2;
}
