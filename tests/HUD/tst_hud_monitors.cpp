// SPDX-License-Identifier: MIT
// The monitors' own rules over in-memory platform parts; the real backends are in the other
// tests here.
#include <QtTest>

#include "Fakes.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/VolumeMonitor.h"

namespace {
constexpr quint32 up = MediaKeys::soundUpCode, down = MediaKeys::soundDownCode;
} // namespace

class TestHUDMonitors : public QObject {
    Q_OBJECT
private slots:
    void suppressorInstallsOnceAndNeedsTrust() {
        auto tap = std::make_unique<FakeMediaKeyTap>();
        FakeMediaKeyTap* t = tap.get();
        int trustAsks = 0;
        SystemHUDSuppressor s(std::move(tap), [&](bool prompt) {
            ++trustAsks;
            return prompt;
        });
        s.start();
        s.start();
        QCOMPARE(t->installs, 1);
        QCOMPARE(trustAsks, 1);
        QVERIFY(s.isRunning());
        // No callbacks yet: our keys are swallowed all the same, others pass.
        QVERIFY(t->handler(press(up)));
        QVERIFY(!t->handler(press(16)));

        // A tap the system refuses leaves the suppressor stopped, and a later start tries again.
        auto refusing = std::make_unique<FakeMediaKeyTap>();
        refusing->accept = false;
        FakeMediaKeyTap* r = refusing.get();
        SystemHUDSuppressor s2(std::move(refusing), [](bool) { return true; });
        s2.start();
        QVERIFY(!s2.isRunning());
        s2.start();
        QCOMPARE(r->installs, 2);

        // Without trust nothing is installed; the user is asked once.
        auto untrusted = std::make_unique<FakeMediaKeyTap>();
        FakeMediaKeyTap* u = untrusted.get();
        bool prompted = false;
        SystemHUDSuppressor s3(std::move(untrusted), [&](bool prompt) {
            prompted = prompt;
            return false;
        });
        QTest::ignoreMessage(QtWarningMsg, "HUDSuppressor: Accessibility permission required");
        s3.start();
        QVERIFY(prompted && !s3.isRunning());
        QCOMPARE(u->installs, 0);
    }

    void volumeKeysWriteClampedStepsToTheDefaultDevice() {
        FakeHUD hud(FakeDevice{0.97f, 0.2f, false}, 0.5f);
        auto [keys, o, m] = std::tie(hud.keys, hud.output, *hud.volume);
        QCOMPARE(m.deviceID(), 1u);
        m.start();
        QCOMPARE(o->watched, std::vector<AudioOutput::DeviceId>{1});

        keys.handle(press(up));
        QCOMPARE(o->volumeWrites.back(), std::make_pair(1u, 1.0f));
        // The mirror follows the system's report, not the write.
        QCOMPARE(m.volume(), 0.97f);

        constexpr quint32 setInstead = ~0u; // the row calls set(value) instead of pressing a key
        const struct {
            const char* what;
            float reported;
            quint32 key;
            float value;
            float written;
        } rows[] = {
            {"up stops at full", 0.97f, up, 0, 1.0f},
            {"down stops at silence", 0.03f, down, 0, 0.0f},
            {"a step is a sixteenth", 0.5f, up, 0, 0.5625f},
            {"down by a sixteenth", 0.5f, down, 0, 0.4375f},
            {"set clamps to full", 0.5f, setInstead, 1.5f, 1.0f},
            {"set clamps to silence", 0.5f, setInstead, -0.2f, 0.0f},
            {"up keeps an amplified level", 1.5f, up, 0, 1.5f},
            {"down steps from an amplified level", 1.5f, down, 0, 1.4375f},
        };
        for (const auto& row : rows) {
            o->devices[1].main = row.reported;
            emit o->valuesChanged();
            QCOMPARE(m.volume(), row.reported);
            if (row.key == setInstead)
                m.set(row.value);
            else
                keys.handle(press(row.key));
            QVERIFY2(o->volumeWrites.back() == std::make_pair(1u, row.written), row.what);
        }

        keys.handle(press(MediaKeys::muteCode));
        QCOMPARE(o->muteWrites.back(), std::make_pair(1u, true));
        o->devices[1].muted = true;
        emit o->valuesChanged();
        QVERIFY(m.isMuted());
        keys.handle(press(MediaKeys::muteCode));
        QCOMPARE(o->muteWrites.back(), std::make_pair(1u, false));
    }

    void volumeFollowsTheDefaultDevice() {
        FakeHUD hud(std::nullopt, 0.5f);
        auto [keys, o, m] = std::tie(hud.keys, hud.output, *hud.volume);
        // No device: keys are ours all the same, and nothing is written.
        QVERIFY(keys.handle(press(up)));
        QVERIFY(keys.handle(press(MediaKeys::muteCode)));
        QVERIFY(o->volumeWrites.empty() && o->muteWrites.empty() && o->watched.empty());

        // A device without a main volume shows its first channel's (switching sinks itself:
        // tst_volume_pulse).
        o->defaultId = 2;
        o->devices[2] = {std::nullopt, 0.75f, true};
        emit o->defaultDeviceChanged();
        QCOMPARE(m.volume(), 0.75f);
        // A failed read of the default device keeps the current one.
        o->defaultId = std::nullopt;
        emit o->defaultDeviceChanged();
        QCOMPARE(m.deviceID(), 2u);
    }

    void brightnessPollsAboveTheNoiseFloor() {
        FakeHUD hud(std::nullopt, 0.3f);
        auto [keys, l, m] = std::tie(hud.keys, hud.backlight, *hud.brightness);
        m.start();
        // The first poll always takes the current value.
        QTRY_COMPARE_WITH_TIMEOUT(m.last(), 0.3f, 30000);

        QSignalSpy spy(&m, &BrightnessMonitor::brightnessChanged);
        l->level = 0.305f;
        m.checkChange();
        QCOMPARE(m.brightness(), 0.3f);
        l->level = 0.3051f;
        m.checkChange();
        QCOMPARE(m.brightness(), 0.3051f);
        QCOMPARE(spy.count(), 1);

        l->level = 0.97f;
        m.checkChange();
        keys.handle(press(MediaKeys::brightnessUpCode));
        QCOMPARE(l->writes.back(), 1.0f);
        QCOMPARE(m.last(), 1.0f);
        // Our own write is not seen as an external change by the next poll.
        spy.clear();
        m.checkChange();
        QCOMPARE(spy.count(), 0);
        m.setValue(0.03f);
        keys.handle(press(MediaKeys::brightnessDownCode));
        QCOMPARE(l->writes.back(), 0.0f);

        // Without a backlight a key moves the shown level, and each poll reads neutral again.
        l->missing = true;
        m.checkChange();
        QCOMPARE(m.brightness(), 0.5f);
        keys.handle(press(MediaKeys::brightnessUpCode));
        QCOMPARE(m.brightness(), 0.5625f);
        QTRY_COMPARE_WITH_TIMEOUT(m.brightness(), 0.5f, 30000);
    }
};

QTEST_GUILESS_MAIN(TestHUDMonitors)
#include "tst_hud_monitors.moc"
