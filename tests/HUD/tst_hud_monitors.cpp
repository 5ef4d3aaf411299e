// SPDX-License-Identifier: MIT
#include <QtTest>

#include "Fakes.h"
#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"

namespace {
SystemDefinedEvent press(quint32 code) {
    return MediaKeys::auxKeyEvent(code, MediaKeys::keyDownState);
}
} // namespace

class TestHUDMonitors : public QObject {
    Q_OBJECT
private slots:
    void suppressorInstallsOnceAndSwallowsOurKeys();
    void suppressorWithoutTrustOnlyLogs();
    void volumeKeysWriteClampedStepsToTheDefaultDevice();
    void volumeFollowsTheDefaultDevice();
    void volumeWithoutDeviceDoesNothing();
    void brightnessPollsAboveTheNoiseFloor();
    void brightnessWithoutBacklightKeepsNeutral();
    void batteryRaisesEventsFromReadings();
};

void TestHUDMonitors::suppressorInstallsOnceAndSwallowsOurKeys() {
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
    for (quint32 code : {0u, 1u, 2u, 3u, 7u})
        QVERIFY(t->handler(press(code)));
    QVERIFY(!t->handler(press(16)));
    QVERIFY(!t->handler(MediaKeys::auxKeyEvent(0, MediaKeys::keyUpState)));

    QStringList calls;
    s.onVolumeUp = [&] { calls << "up"; };
    s.onVolumeDown = [&] { calls << "down"; };
    s.onVolumeMute = [&] { calls << "mute"; };
    s.onBrightnessUp = [&] { calls << "bright+"; };
    s.onBrightnessDown = [&] { calls << "bright-"; };
    t->handler(press(0));
    t->handler(MediaKeys::auxKeyEvent(0, MediaKeys::keyUpState));
    t->handler(press(1));
    t->handler(MediaKeys::auxKeyEvent(1, MediaKeys::keyDownState, MediaKeys::autoRepeatFlag));
    t->handler(press(7));
    t->handler(press(2));
    t->handler(press(3));
    t->handler(press(4));
    QCOMPARE(calls, QStringList({"up", "down", "down", "mute", "bright+", "bright-"}));

    // A tap the system refuses leaves the suppressor stopped, and a later start tries again.
    auto refusing = std::make_unique<FakeMediaKeyTap>();
    refusing->accept = false;
    FakeMediaKeyTap* r = refusing.get();
    SystemHUDSuppressor s2(std::move(refusing), [](bool) { return true; });
    s2.start();
    QVERIFY(!s2.isRunning());
    s2.start();
    QCOMPARE(r->installs, 2);
}

void TestHUDMonitors::suppressorWithoutTrustOnlyLogs() {
    auto tap = std::make_unique<FakeMediaKeyTap>();
    FakeMediaKeyTap* t = tap.get();
    bool prompted = false;
    SystemHUDSuppressor s(std::move(tap), [&](bool prompt) {
        prompted = prompt;
        return false;
    });
    QTest::ignoreMessage(QtWarningMsg, "HUDSuppressor: Accessibility permission required");
    s.start();
    QVERIFY(prompted);
    QCOMPARE(t->installs, 0);
    QVERIFY(!s.isRunning());
}

void TestHUDMonitors::volumeKeysWriteClampedStepsToTheDefaultDevice() {
    auto out = std::make_unique<FakeAudioOutput>();
    FakeAudioOutput* o = out.get();
    o->defaultId = 5;
    o->devices[5] = {0.97f, 0.2f, false};
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor m(std::move(out), &keys);
    QCOMPARE(m.deviceID(), 5u);
    QCOMPARE(m.volume(), 0.97f);
    m.start();
    m.start();
    QCOMPARE(o->watched, std::vector<AudioOutput::DeviceId>{5});

    keys.handle(press(0));
    QCOMPARE(o->volumeWrites.back(), std::make_pair(5u, 1.0f));
    // The mirror follows the system's report, not the write.
    QCOMPARE(m.volume(), 0.97f);
    o->devices[5].main = 0.03f;
    QSignalSpy volumeSpy(&m, &VolumeMonitor::volumeChanged);
    emit o->valuesChanged();
    QCOMPARE(volumeSpy.count(), 1);
    emit o->valuesChanged();
    QCOMPARE(volumeSpy.count(), 1);
    keys.handle(press(1));
    QCOMPARE(o->volumeWrites.back(), std::make_pair(5u, 0.0f));
    o->devices[5].main = 0.5f;
    emit o->valuesChanged();
    keys.handle(press(0));
    QCOMPARE(o->volumeWrites.back(), std::make_pair(5u, 0.5625f));
    m.set(1.5f);
    QCOMPARE(o->volumeWrites.back().second, 1.0f);
    m.set(-0.2f);
    QCOMPARE(o->volumeWrites.back().second, 0.0f);
    // Amplified beyond full: the real level is kept, up leaves it there, down steps from it.
    o->devices[5].main = 1.5f;
    emit o->valuesChanged();
    QCOMPARE(m.volume(), 1.5f);
    keys.handle(press(0));
    QCOMPARE(o->volumeWrites.back().second, 1.5f);
    keys.handle(press(1));
    QCOMPARE(o->volumeWrites.back().second, 1.4375f);

    keys.handle(press(7));
    QCOMPARE(o->muteWrites.back(), std::make_pair(5u, true));
    o->devices[5].muted = true;
    emit o->valuesChanged();
    QVERIFY(m.isMuted());
    keys.handle(press(7));
    QCOMPARE(o->muteWrites.back(), std::make_pair(5u, false));
}

void TestHUDMonitors::volumeFollowsTheDefaultDevice() {
    auto out = std::make_unique<FakeAudioOutput>();
    FakeAudioOutput* o = out.get();
    o->defaultId = 1;
    o->devices[1] = {0.25f, 0.25f, false};
    o->devices[2] = {std::nullopt, 0.75f, true}; // no main volume: the first channel's
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor m(std::move(out), &keys);
    m.start();
    o->defaultId = 2;
    emit o->defaultDeviceChanged();
    QCOMPARE(m.deviceID(), 2u);
    QCOMPARE(m.volume(), 0.75f);
    QVERIFY(m.isMuted());
    QCOMPARE(o->watched, (std::vector<AudioOutput::DeviceId>{1, 2}));
    keys.handle(press(0));
    QCOMPARE(o->volumeWrites.back(), std::make_pair(2u, 0.8125f));
    // A failed read of the default device keeps the current one.
    o->defaultId = std::nullopt;
    emit o->defaultDeviceChanged();
    QCOMPARE(m.deviceID(), 2u);
}

void TestHUDMonitors::volumeWithoutDeviceDoesNothing() {
    auto out = std::make_unique<FakeAudioOutput>();
    FakeAudioOutput* o = out.get();
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor m(std::move(out), &keys);
    m.start();
    QVERIFY(keys.handle(press(0)));
    QVERIFY(keys.handle(press(7)));
    QVERIFY(o->volumeWrites.empty() && o->muteWrites.empty() && o->watched.empty());
    QCOMPARE(m.volume(), 0.0f);
    // A device that turns up later is followed.
    o->defaultId = 3;
    o->devices[3] = {0.5f, 0.5f, false};
    emit o->defaultDeviceChanged();
    QCOMPARE(m.volume(), 0.5f);
}

void TestHUDMonitors::brightnessPollsAboveTheNoiseFloor() {
    auto light = std::make_unique<FakeBacklight>();
    FakeBacklight* l = light.get();
    l->level = 0.5f;
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    BrightnessMonitor m(std::move(light), &keys);
    QCOMPARE(m.brightness(), 0.5f);
    QCOMPARE(m.last(), -1.0f);

    l->level = 0.3f;
    m.start();
    // The first poll always takes the current value.
    QTRY_COMPARE_WITH_TIMEOUT(m.last(), 0.3f, 30000);
    QCOMPARE(m.brightness(), 0.3f);

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
    keys.handle(press(2));
    QCOMPARE(l->writes.back(), 1.0f);
    QCOMPARE(m.brightness(), 1.0f);
    QCOMPARE(m.last(), 1.0f);
    // Our own write is not seen as an external change by the next poll.
    spy.clear();
    m.checkChange();
    QCOMPARE(spy.count(), 0);

    m.setValue(0.03f);
    keys.handle(press(3));
    QCOMPARE(l->writes.back(), 0.0f);
    QCOMPARE(m.brightness(), 0.0f);
}

void TestHUDMonitors::brightnessWithoutBacklightKeepsNeutral() {
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    auto light = std::make_unique<FakeBacklight>();
    light->missing = true;
    BrightnessMonitor m(std::move(light), &keys);
    QCOMPARE(m.brightness(), 0.5f);
    m.start();
    keys.handle(press(2));
    QCOMPARE(m.brightness(), 0.5625f);
    // Without a backlight each poll reads neutral again.
    QTRY_COMPARE_WITH_TIMEOUT(m.brightness(), 0.5f, 30000);
}

void TestHUDMonitors::batteryRaisesEventsFromReadings() {
    auto source = std::make_unique<FakePowerSource>();
    FakePowerSource* s = source.get();
    BatteryMonitor m(std::move(source));
    QCOMPARE(m.percentage(), 100);
    std::vector<BatteryMonitor::Event> events;
    m.onEvent = [&](const BatteryMonitor::Event& e) { events.push_back(e); };

    s->reading = PowerSourceReading{2999, 3000, true, true};
    m.start();
    QVERIFY(s->notifications);
    QCOMPARE(m.percentage(), 99);
    QVERIFY(m.isCharging() && m.isPluggedIn());
    QVERIFY(events.empty());

    QSignalSpy percent(&m, &BatteryMonitor::percentageChanged);
    QSignalSpy plugged(&m, &BatteryMonitor::isPluggedInChanged);
    s->set(50, 100, false, false);
    QCOMPARE(events.size(), size_t(1));
    QCOMPARE(events[0].kind, BatteryMonitor::Event::Kind::unplugged);
    s->set(50, 100, false, false);
    QCOMPARE(events.size(), size_t(1));
    QCOMPARE(percent.count(), 1);
    QCOMPARE(plugged.count(), 1);

    s->set(19, 100, false, false);
    QCOMPARE(events.size(), size_t(2));
    QCOMPARE(events[1].kind, BatteryMonitor::Event::Kind::low);
    QCOMPARE(events[1].level, 19);
    s->set(0, 0, false, false);
    QCOMPARE(m.percentage(), 0);
    s->set(19, 100, true, true);
    QCOMPARE(events.back().kind, BatteryMonitor::Event::Kind::plugged);
    QVERIFY(!m.memory().lastLowThresholdFired);

    // A machine without a battery leaves everything as it was.
    s->reading.reset();
    emit s->changed();
    QCOMPARE(m.percentage(), 19);

    // The source comes back (a service restarted) unplugged at 15%: that is where it starts,
    // not an unplug and a fall through 20%.
    const auto before = events.size();
    emit s->restarted();
    s->set(15, 100, false, false);
    QCOMPARE(m.percentage(), 15);
    QCOMPARE(events.size(), before);
    s->set(9, 100, false, false);
    QCOMPARE(events.size(), before + 1);
    QCOMPARE(events.back().kind, BatteryMonitor::Event::Kind::low);
}

QTEST_GUILESS_MAIN(TestHUDMonitors)
#include "tst_hud_monitors.moc"
