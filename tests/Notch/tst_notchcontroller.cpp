// SPDX-License-Identifier: MIT
// The notch controller's rules as scripts over a fake clock and recording notches: what the
// session notch and the HUD notch are told to do as sessions, prompts, taps, hover, keys and
// battery events come and time passes.
#include <QtTest>

#include "../HUD/Fakes.h"
#include "../Sessions/StoreFixture.h"
#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Notch/Clock.h"
#include "Notch/NotchController.h"

namespace {

// A clock that stands still until the test advances it. Queued calls run before and after each
// timer, as the event loop would run them.
class FakeClock : public Clock {
public:
    class FakeTimer : public Timer {
    public:
        FakeTimer(FakeClock& clock, std::function<void()> timeout)
            : m_clock(clock), m_timeout(std::move(timeout)) {
            m_clock.m_timers.insert(this);
        }
        ~FakeTimer() override { m_clock.m_timers.erase(this); }
        void start(std::chrono::milliseconds wait) override {
            m_due = m_clock.m_now + wait.count();
            m_order = ++m_clock.m_starts;
        }
        void stop() override { m_due = -1; }
        bool isActive() const override { return m_due >= 0; }

    private:
        friend class FakeClock;
        FakeClock& m_clock;
        std::function<void()> m_timeout;
        qint64 m_due = -1;
        quint64 m_order = 0;
    };

    std::unique_ptr<Timer> makeTimer(std::function<void()> timeout) override {
        return std::make_unique<FakeTimer>(*this, std::move(timeout));
    }

    qint64 now() const { return m_now; }

    // Moves time forward, firing every timer that falls due on the way, in order.
    void advance(qint64 ms) {
        const qint64 target = m_now + ms;
        settle();
        while (FakeTimer* next = nextDue(target)) {
            m_now = next->m_due;
            next->m_due = -1;
            next->m_timeout();
            settle();
        }
        m_now = target;
        settle();
    }

    // Runs what was queued on the event loop, and what that queued in turn.
    static void settle() {
        for (int i = 0; i < 8; ++i)
            QCoreApplication::processEvents();
    }

private:
    FakeTimer* nextDue(qint64 target) const {
        FakeTimer* best = nullptr;
        for (FakeTimer* t : m_timers)
            if (t->m_due >= 0 && t->m_due <= target &&
                (!best || std::pair(t->m_due, t->m_order) < std::pair(best->m_due, best->m_order)))
                best = t;
        return best;
    }

    qint64 m_now = 0;
    quint64 m_starts = 0;
    std::set<FakeTimer*> m_timers;
};

class FakeNotch : public NotchHandle {
public:
    void expand() override { state = QStringLiteral("expanded"); }
    void compact() override { state = QStringLiteral("compact"); }
    void hide(std::function<void()> done) override {
        state = QStringLiteral("hidden");
        if (done)
            done();
    }
    bool isHovering() const override { return hovering; }
    void setHovering(bool h) {
        hovering = h;
        emit hoveringChanged(h);
    }

    QString state = QStringLiteral("hidden");
    bool hovering = false;
};

// One controller over fakes: the store is real, the rest records.
struct Rig {
    StoreFakes fakes;
    std::unique_ptr<SessionStore> store = makeStore(fakes, {}, std::chrono::hours(1));
    FakeMediaKeyTap* tap;
    SystemHUDSuppressor keys{makeTap(), [](bool) { return true; }};
    FakeAudioOutput* audio;
    FakePowerSource* power;
    FakeClock clock;
    FakeNotch* notch = nullptr;
    FakeNotch* hudNotch = nullptr;
    std::unique_ptr<NotchController> controller;

    Rig() {
        auto output = std::make_unique<FakeAudioOutput>();
        audio = output.get();
        audio->defaultId = 1;
        audio->devices[1] = {0.5f, 0.5f, false};
        auto source = std::make_unique<FakePowerSource>();
        power = source.get();
        power->reading = PowerSourceReading{80, 100, false, false};
        NotchController::Environment env;
        env.clock = &clock;
        env.suppressor = &keys;
        env.volume = std::make_unique<VolumeMonitor>(std::move(output), &keys);
        env.brightness =
            std::make_unique<BrightnessMonitor>(std::make_unique<FakeBacklight>(), &keys);
        env.battery = std::make_unique<BatteryMonitor>(std::move(source));
        env.makeNotch = [this](const NotchSetup& setup) {
            auto made = std::make_unique<FakeNotch>();
            (setup.role == NotchSetup::Role::session ? notch : hudNotch) = made.get();
            return made;
        };
        controller = std::make_unique<NotchController>(store.get(), std::move(env));
        controller->start();
        FakeClock::settle();
    }

    std::unique_ptr<MediaKeyTap> makeTap() {
        auto t = std::make_unique<FakeMediaKeyTap>();
        tap = t.get();
        return t;
    }

    void event(const QString& id, HookEvent::Kind kind) {
        HookEvent e = hookEvent(kind, id.toStdString(), nowSinceReferenceDate());
        if (kind == HookEvent::Kind::permissionRequest) {
            e.tool = "Bash";
            e.toolInput = bashInput("touch x");
        }
        fakes.aliveCwds.insert(e.cwd);
        store->handle(e, [](const HookDecision&) {});
    }

    void press(quint32 code) {
        tap->handler(MediaKeys::auxKeyEvent(code, MediaKeys::keyDownState));
    }

    // Runs one step of a script; returns a failure text or nothing.
    QString step(const QString& line) {
        const QStringList w = line.split(' ', Qt::SkipEmptyParts);
        const QString verb = w.value(0), arg = w.value(1);
        if (verb == "session")
            event(arg, HookEvent::Kind::notification);
        else if (verb == "prompt")
            event(arg, HookEvent::Kind::permissionRequest);
        else if (verb == "stop")
            event(arg, HookEvent::Kind::stop);
        else if (verb == "answer")
            store->resolve(arg, HookDecision{HookDecision::Decision::approve, {}, {}});
        else if (verb == "gone") {
            fakes.aliveCwds.erase("/work/" + arg.toStdString());
            store->pruneDeadProcesses();
        } else if (verb == "tap")
            controller->expandOnDemand();
        else if (verb == "hover" || verb == "leave")
            notch->setHovering(verb == "hover");
        else if (verb == "volume")
            press(MediaKeys::soundUpCode);
        else if (verb == "brightness")
            press(MediaKeys::brightnessDownCode);
        else if (verb == "plug")
            power->set(80, 100, true, true);
        else if (verb == "wait")
            clock.advance(arg.toLongLong());
        else if (verb == "expect")
            return expect(w.mid(1));
        else
            return "unknown step " + line;
        FakeClock::settle();
        return {};
    }

    // "expect notch=compact hud=hidden kind=volume writes=1 bumps=1"
    QString expect(const QStringList& facts) {
        for (const QString& fact : facts) {
            const QString key = fact.section('=', 0, 0), want = fact.section('=', 1);
            QString have;
            if (key == "notch")
                have = notch->state;
            else if (key == "hud")
                have = hudNotch->state;
            else if (key == "kind")
                have = QMetaEnum::fromType<HUDKind::Case>().valueToKey(
                    int(controller->hud()->kind().kind()));
            else if (key == "writes")
                have = QString::number(audio->volumeWrites.size());
            else if (key == "bumps")
                have = QString::number(controller->hud()->bump());
            if (have != want)
                return QStringLiteral("%1: %2 instead of %3 at %4 ms")
                    .arg(key, have, want)
                    .arg(clock.now());
        }
        return {};
    }
};

} // namespace

class TestNotchController : public QObject {
    Q_OBJECT
private slots:
    void rules_data() {
        QTest::addColumn<QStringList>("script");
        // clang-format off
        QTest::newRow("no sessions: hidden, whatever tap or hover say") << QStringList{
            "expect notch=hidden hud=hidden", "tap", "expect notch=hidden",
            "session a", "hover", "expect notch=expanded", "gone a", "expect notch=hidden"};
        QTest::newRow("a prompt expands at once, ends a flash and keeps the HUD away; keys still act")
            << QStringList{"session a", "expect notch=compact", "volume",
            "expect notch=hidden hud=compact writes=1 bumps=1", "prompt a",
            "expect notch=expanded hud=hidden", "volume", "expect hud=hidden writes=2 bumps=1",
            "wait 1800", "expect notch=expanded hud=hidden", "answer a", "expect notch=compact",
            "volume", "expect notch=hidden hud=compact"};
        QTest::newRow("a tap opens for 6 s, a second one at 4 s holds it to 10 s, with no HUD")
            << QStringList{"session a", "tap", "expect notch=expanded", "wait 4000", "tap",
            "wait 5999", "volume", "expect notch=expanded hud=hidden", "wait 1",
            "expect notch=compact", "volume", "expect hud=compact"};
        QTest::newRow("leaving for 0.2 s keeps it open, for 0.3 s collapses it") << QStringList{
            "session a", "hover", "expect notch=expanded", "leave", "wait 200", "hover",
            "wait 1000", "expect notch=expanded", "leave", "wait 249", "expect notch=expanded",
            "wait 51", "expect notch=compact"};
        QTest::newRow("a volume key while compact swaps in the HUD for 1.8 s after the last key")
            << QStringList{"session a", "volume", "expect notch=hidden hud=compact kind=volume",
                           "wait 1000", "volume", "wait 1799", "expect notch=hidden hud=compact",
                           "wait 1", "expect notch=compact hud=hidden"};
        QTest::newRow("changes during a flash show when it ends") << QStringList{
            "brightness", "expect notch=hidden hud=compact kind=brightness", "session a",
            "expect notch=hidden", "wait 1800", "expect notch=compact hud=hidden"};
        QTest::newRow("a volume key while hover-expanded leaves the session notch open") << QStringList{
            "session a", "hover", "volume", "expect notch=expanded hud=compact", "wait 1800",
            "expect notch=expanded hud=hidden"};
        QTest::newRow("justFinished growing opens for 6 s; shrinking does not") << QStringList{
            "session a", "session b", "stop a", "expect notch=expanded", "wait 6000",
            "expect notch=compact", "stop b", "expect notch=expanded", "wait 6000",
            "expect notch=compact", "gone a", "expect notch=compact"};
        QTest::newRow("a battery event flashes for 2.6 s") << QStringList{
            "session a", "plug", "expect notch=hidden hud=compact kind=batteryPlugged",
            "wait 2599", "expect hud=compact", "wait 1", "expect notch=compact hud=hidden"};
        // clang-format on
    }
    void rules() {
        QFETCH(QStringList, script);
        Rig rig;
        QVERIFY(rig.notch && rig.hudNotch);
        for (const QString& line : script) {
            const QString failure = rig.step(line);
            QVERIFY2(failure.isEmpty(), qPrintable(line + ": " + failure));
        }
    }
    void aGoneControllerIgnoresLateCallbacks() {
        Rig rig;
        rig.event("a", HookEvent::Kind::notification);
        rig.controller->expandOnDemand();
        rig.press(MediaKeys::soundUpCode);
        rig.controller.reset();
        // Keys, store changes and time after it went: nothing breaks, and a listener chained
        // after ours still hears its key.
        bool heard = false;
        rig.keys.onVolumeUp = [ours = rig.keys.onVolumeUp, &heard] {
            ours();
            heard = true;
        };
        rig.press(MediaKeys::soundUpCode);
        rig.event("b", HookEvent::Kind::stop);
        rig.clock.advance(10000);
        QVERIFY(heard);
    }
};

QTEST_MAIN(TestNotchController)
#include "tst_notchcontroller.moc"
