// SPDX-License-Identifier: MIT
// The battery and brightness monitors against UPower and logind, served by python3-dbusmock on a
// private system bus. logind's Session.SetBrightness writes a sysfs backlight folder, as logind
// would.
#include "../support/LoopGaps.h"
#include "Daemons.h"
#include "Fakes.h"
#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "Platform/Linux/Backlight_linux.h"

#include <QDBusVariant>

#include <csignal>

namespace {

const QString upower = "org.freedesktop.UPower";
constexpr uint charging = 1, discharging = 2;

bool set(const QString& path, const QString& interface, const QString& name, const QVariant& v) {
    return Daemons::callMock(upower, path, "Set",
                             {interface, name, QVariant::fromValue(QDBusVariant(v))},
                             "org.freedesktop.DBus.Properties")
               .type() == QDBusMessage::ReplyMessage;
}
bool setOnBattery(bool onBattery) {
    return set("/org/freedesktop/UPower", upower, "OnBattery", onBattery);
}
bool setDevice(const QString& name, const QVariant& value) {
    return set("/org/freedesktop/UPower/devices/DisplayDevice", "org.freedesktop.UPower.Device",
               name, value);
}

using Kind = BatteryMonitor::Event::Kind;

// The app's battery monitor, started, with the events it raised.
struct Started {
    BatteryMonitor battery;
    std::vector<BatteryMonitor::Event> events;
    Started() {
        battery.onEvent = [this](const BatteryMonitor::Event& e) { events.push_back(e); };
        battery.start();
    }
};

} // namespace

class TestHUDDBus : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(m_sysfs.isValid());
        Daemons::addBacklight(m_sysfs.path(), "0000:01:00.0-bl", "raw", 100, 40);
        Daemons::addBacklight(m_sysfs.path(), "acpi_video0", "firmware", 10000, 5000);
        Daemons::addBacklight(m_sysfs.path(), "intel_backlight", "raw", 96000, 9600);
        m_level = m_sysfs.path() + "/acpi_video0/brightness";
        m_bus = std::make_unique<Daemons::SystemBus>();
        m_logind = Daemons::startLogind(m_sysfs.path());
        m_mock = Daemons::startMock("upower", upower);
        QVERIFY(QDBusConnection::systemBus().interface()->isServiceRegistered(upower).value());
    }

    void unplugThresholdsAndPlugBack() {
        QVERIFY(setOnBattery(false));
        QVERIFY(Daemons::setupBattery(50.0, charging));
        Started started;
        auto& [battery, events] = started;
        // UPower's answer comes after start(), never waited for.
        QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 50, Daemons::readyWaitMs);
        QVERIFY(battery.isPluggedIn() && battery.isCharging());
        QVERIFY(events.empty());

        QVERIFY(setOnBattery(true));
        QTRY_VERIFY_WITH_TIMEOUT(!battery.isPluggedIn(), Daemons::readyWaitMs);
        QVERIFY(setDevice("State", discharging));
        QTRY_VERIFY_WITH_TIMEOUT(!battery.isCharging(), Daemons::readyWaitMs);
        QCOMPARE(events.size(), size_t(1));
        QCOMPARE(events[0].kind, Kind::unplugged);

        // The thresholds are BatteryRules' (tst_hud_rules): here, that readings reach them.
        QVERIFY(setDevice("Percentage", 9.99));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(2), Daemons::readyWaitMs);
        QCOMPARE(events[1].kind, Kind::low);
        QCOMPARE(events[1].level, 9);

        QVERIFY(setOnBattery(false));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(3), Daemons::readyWaitMs);
        QCOMPARE(events[2].kind, Kind::plugged);
    }

    void noBatteryChangesNothing() {
        QVERIFY(Daemons::setupBattery(40.0, discharging));
        QVERIFY(setDevice("IsPresent", false));
        Started started;
        auto& battery = started.battery;
        QTest::qWait(500); // time for UPower's answer, which must change nothing
        QCOMPARE(battery.percentage(), 100);
        QVERIFY(!battery.isPluggedIn());
    }

    void appearingLaterIsTheStartingState() {
        // The app starts before UPower; UPower then comes up on battery at 14%.
        m_mock.reset();
        Started started;
        auto& [battery, events] = started;
        m_mock = Daemons::startMock("upower", upower);
        QVERIFY(setOnBattery(true));
        QVERIFY(Daemons::setupBattery(15.0, discharging));
        QVERIFY(setDevice("Percentage", 14.5));
        QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 14, Daemons::readyWaitMs);
        QVERIFY(!battery.isPluggedIn());
        QVERIFY(events.empty());
        QVERIFY(setDevice("Percentage", 9.0));
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(1), Daemons::readyWaitMs);
        QCOMPARE(events[0].kind, Kind::low);

        // It restarts plugged in at 60%: again a starting state, not a plug event.
        m_mock.reset();
        m_mock = Daemons::startMock("upower", upower);
        QVERIFY(setOnBattery(false));
        QVERIFY(Daemons::setupBattery(60.0, charging));
        QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 60, Daemons::readyWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(battery.isPluggedIn(), Daemons::readyWaitMs);
        QCOMPARE(events.size(), size_t(1));
    }

    void pollsAndWritesThroughLogind() {
        SysfsBacklight none(m_sysfs.path() + "/missing");
        QVERIFY(!none.brightness() && !none.setBrightness(0.5f));
        TrustedKeys keys;
        BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(m_sysfs.path()), &keys);
        monitor.start();
        // acpi_video0 at a half: the firmware device is taken before the raw ones.
        QTRY_COMPARE_WITH_TIMEOUT(monitor.last(), 0.5f, Daemons::readyWaitMs);

        // Someone else changes it: the poll notices by itself (its noise floor: tst_hud_monitors).
        writeBytes(m_level, "2500\n");
        QTRY_COMPARE_WITH_TIMEOUT(monitor.brightness(), 0.25f, Daemons::readyWaitMs);

        // While logind has not written our levels yet, the poll must not take the old one back.
        QSignalSpy changes(&monitor, &BrightnessMonitor::brightnessChanged);
        keys.handle(press(MediaKeys::brightnessUpCode));
        QCOMPARE(monitor.brightness(), 0.3125f);
        QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level), QByteArray("3125\n"), Daemons::readyWaitMs);
        keys.handle(press(MediaKeys::brightnessDownCode));
        keys.handle(press(MediaKeys::brightnessDownCode));
        QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level), QByteArray("1875\n"), Daemons::readyWaitMs);
        QCOMPARE(monitor.brightness(), 0.1875f);
        QCOMPARE(changes.count(), 3);
    }

    // UPower says the cable is out and then answers nothing for 1.5 s, logind is stopped, and
    // brightness keys are pressed meanwhile: the monitors' questions wait, the loop does not (a
    // blocking call would hold it until the stall ends or times out). Answers that come are taken.
    void servicesThatDoNotAnswerFreezeNothing() {
        QVERIFY(setOnBattery(false));
        QVERIFY(Daemons::setupBattery(50.0, charging));
        writeBytes(m_level, "5000\n");
        Started started;
        auto& [battery, events] = started;
        TrustedKeys keys;
        BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(m_sysfs.path()), &keys);
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(battery.isPluggedIn(), Daemons::readyWaitMs);

        Daemons::stallUPower(true, 1.5);
        const pid_t logind = pid_t(m_logind->process().processId());
        QCOMPARE(::kill(logind, SIGSTOP), 0);
        LoopGaps gaps;
        for (int i = 0; i < 3; ++i)
            QTimer::singleShot(50 * i, &monitor,
                               [&] { keys.handle(press(MediaKeys::brightnessUpCode)); });
        QTest::qWait(800);
        const double longest = gaps.longestMs();
        QCOMPARE(::kill(logind, SIGCONT), 0);
        QVERIFY2(longest < 700, qPrintable(QString("the loop stood still for %1 ms").arg(longest)));
        QVERIFY(events.empty());
        QCOMPARE(monitor.brightness(), 0.6875f);
        QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(1), Daemons::readyWaitMs);
        QCOMPARE(events[0].kind, Kind::unplugged);
        QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level), QByteArray("6875\n"), Daemons::readyWaitMs);
    }

private:
    QTemporaryDir m_sysfs;
    QString m_level;
    std::unique_ptr<Daemons::SystemBus> m_bus;
    std::unique_ptr<Daemons::Process> m_logind;
    std::unique_ptr<Daemons::Process> m_mock; // UPower's
};

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestHUDDBus test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_hud_dbus.moc"
