// SPDX-License-Identifier: MIT
// Renders the session notch as the app shows it: the real controller and views over sessions in
// each status, compact and expanded (with a row open, and with a prompt), and the HUD, on a
// notched laptop screen, to PNG files:  hollowmere-notch-demo OUTPUT_DIR
#include "HUD/HUDState.h"
#include "Notch/NotchController.h"
#include "Notch/SessionListModel.h"
#include "NotchPanel.h"
#include "NotchSurface.h"
#include "SampleScreens.h"
#include "Sessions/SessionStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QQuickItem>

#include <cstdio>
#include <functional>

namespace {

void wait(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

// Waits `ms`, then for two more frames of the notch's panel: without a GPU one frame may take
// longer than the animations it shows, which then jump to their end.
void settle(NotchHandle* notch, int ms) {
    wait(ms);
    NotchPanel* panel = notch && notch->surface() ? notch->surface()->window() : nullptr;
    if (!panel)
        return;
    int frames = 0;
    const auto counter =
        QObject::connect(panel, &QQuickWindow::frameSwapped, [&frames] { ++frames; });
    QElapsedTimer t;
    t.start();
    while (frames < 3 && t.elapsed() < 30000) {
        panel->update();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    QObject::disconnect(counter);
}

HookEvent event(const char* id, HookEvent::Kind kind, const char* terminal, double ageSeconds) {
    HookEvent e;
    e.kind = kind;
    e.sessionId = id;
    e.cwd = std::string("/Users/ada/code/") + id;
    e.timestamp = nowSinceReferenceDate() - ageSeconds;
    if (terminal)
        e.terminalBundleId = terminal;
    return e;
}

// Sessions as a working day has them; `statuses` picks which of them are there: i idle, d done,
// r working, w waiting for an answer.
void populate(SessionStore& store, const QString& statuses) {
    const auto none = [](const HookDecision&) {};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::vector<DiscoveredSession> transcripts;
    const auto told = [&](const char* id, const char* prompt, double ageSeconds, bool done) {
        transcripts.push_back({id, QStringLiteral("/Users/ada/code/") + QLatin1String(id),
                               now.addMSecs(qint64(-ageSeconds * 1000)), QString::fromUtf8(prompt),
                               QString::fromUtf8(prompt), std::nullopt,
                               QStringLiteral("claude-sonnet-4-5"), done});
    };
    if (statuses.contains('i')) {
        store.handle(event("notes", HookEvent::Kind::notification, "com.apple.Terminal", 3 * 3600),
                     none);
        told("notes", "Summarise yesterday's meeting notes", 3 * 3600, true);
    }
    if (statuses.contains('d')) {
        store.handle(event("website", HookEvent::Kind::stop, "com.mitchellh.ghostty", 40), none);
        told("website", "Fix the broken link in the footer", 40, true);
    }
    if (statuses.contains('r')) {
        HookEvent e =
            event("hollowmere", HookEvent::Kind::permissionRequest, "com.googlecode.iterm2", 120);
        e.tool = "Read";
        e.toolInput = R"({"file_path":"/Users/ada/code/hollowmere/README.md"})";
        store.handle(e, none);
        store.resolve("hollowmere", HookDecision{HookDecision::Decision::approve, {}, {}});
        told("hollowmere", "Make the session rows keep their state when the list changes", 120,
             false);
    }
    if (statuses.contains('w')) {
        HookEvent e =
            event("api-server", HookEvent::Kind::permissionRequest, "com.microsoft.VSCode", 5);
        e.tool = "Bash";
        e.toolInput = R"({"command":"npm test -- --watch=false","description":"Run the tests"})";
        store.handle(e, none);
        told("api-server", "Run the test suite and fix what fails", 5, false);
    }
    store.reconcileDiscovered(transcripts);
}

// The panel's picture cropped around the notch, over a plain desktop.
bool save(NotchHandle* notch, const QString& path) {
    NotchSurface* surface = notch ? notch->surface() : nullptr;
    NotchPanel* panel = surface ? surface->window() : nullptr;
    if (!panel) {
        std::fprintf(stderr, "no panel for %s\n", qPrintable(path));
        return false;
    }
    const QImage grab = panel->grabWindow();
    const qreal dpr = grab.devicePixelRatio();
    // Around what is drawn: the notch and its shadow.
    QRect drawn;
    for (int y = 0; y < grab.height(); ++y)
        for (int x = 0; x < grab.width(); ++x)
            if (qAlpha(grab.pixel(x, y)) > 8)
                drawn |= QRect(x, y, 1, 1);
    const QRectF body = QRectF(drawn.x() / dpr, 0, drawn.width() / dpr, drawn.bottom() / dpr)
                            .adjusted(-40, 0, 40, 30);
    QImage image((body.size() * dpr).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    QPainter p(&image);
    QLinearGradient wall(0, 0, body.width(), body.height());
    wall.setColorAt(0, QColor(0x3a, 0x4e, 0x8c));
    wall.setColorAt(1, QColor(0x7b, 0x5e, 0xa7));
    p.fillRect(QRectF(QPointF(), body.size()), wall);
    p.fillRect(QRectF(0, 0, body.width(), 37), QColor(255, 255, 255, 50));
    p.drawImage(QPointF(-body.x(), -body.y()), grab);
    p.end();
    if (!image.save(path)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

struct Scene {
    const char* file;
    QString statuses;
    std::function<void(NotchController&)> act;
    bool hud = false;
};

} // namespace

int main(int argc, char** argv) {
    // Animations advance by the clock, however slowly a frame renders without a GPU.
    if (qEnvironmentVariableIsEmpty("QSG_RENDER_LOOP"))
        qputenv("QSG_RENDER_LOOP", "basic");
    QGuiApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("demo");
    QDir().mkpath(out);
    const auto openRow = [](NotchController& c) {
        c.handleHoverChange(true); // held open, as under the pointer
        settle(c.notch(), 600);
        NotchPanel* panel = c.notch()->surface()->window();
        if (auto* list = panel ? panel->rootObject()->findChild<SessionListModel*>() : nullptr)
            list->tap(QStringLiteral("hollowmere"));
        // The row opens, then the notch grows to hold it.
        settle(c.notch(), 1500);
    };
    const Scene scenes[] = {
        {"session-compact-idle.png", "i", {}},
        {"session-compact-done.png", "id", {}},
        {"session-compact-working.png", "idr", {}},
        {"session-compact-waiting.png", "idrw",
         [](NotchController& c) {
             // Seen collapsed, as after the prompt was answered elsewhere and another came.
             c.notch()->compact();
         }},
        {"session-expanded-list.png", "idr", openRow},
        {"session-expanded-prompt.png", "idrw", {}},
        {"session-hud-volume.png", "idr",
         [](NotchController& c) { c.flashKind(HUDKind::volume(), 60000); }, true},
    };
    int failures = 0;
    for (const Scene& scene : scenes) {
        SessionStore::Environment env;
        env.playSound = [](const QString&) {};
        env.justFinishedFor = std::chrono::hours(1);
        SessionStore store(env);
        NotchController::Environment controllerEnv;
        controllerEnv.makeNotch = [](const NotchSetup& setup) {
            return makeSurfaceNotch(setup, [](QScreen*) { return notchedLaptop(); });
        };
        NotchController controller(&store, std::move(controllerEnv));
        populate(store, scene.statuses);
        controller.start();
        settle(controller.notch(), 600);
        if (scene.act)
            scene.act(controller);
        NotchHandle* shown = scene.hud ? controller.hudNotch() : controller.notch();
        settle(shown, 800);
        failures += save(shown, QDir(out).filePath(QLatin1String(scene.file))) ? 0 : 1;
    }
    return failures == 0 ? 0 : 1;
}
