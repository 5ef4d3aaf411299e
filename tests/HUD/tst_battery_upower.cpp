// SPDX-License-Identifier: MIT
// The battery monitor against UPower's D-Bus interface, served by python3-dbusmock.
#include "../support/LoopGaps.h"
#include "Daemons.h"
#include "HUD/BatteryMonitor.h"

#include <csignal>

#include <QDBusMessage>
#include <QDBusVariant>

namespace {

const QString upower = "org.freedesktop.UPower";
const QString manager = "/org/freedesktop/UPower";
const QString display = "/org/freedesktop/UPower/devices/DisplayDevice";
constexpr uint charging = 1, discharging = 2;

bool callMock(const QString& path, const QString& interface, const QString& method,
              const QVariantList& args) {
    auto message = QDBusMessage::createMethodCall(upower, path, interface, method);
    message.setArguments(args);
    const auto reply = QDBusConnection::systemBus().call(message, QDBus::Block, 10000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        qWarning() << reply.errorMessage();
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool setProperty(const QString& path, const QString& interface, const QString& name,
                 const QVariant& value) {
    return callMock(path, "org.freedesktop.DBus.Properties", "Set",
                    {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

bool setOnBattery(bool onBattery) {
    return setProperty(manager, upower, "OnBattery", onBattery);
}
bool setDevice(const QString& name, const QVariant& value) {
    return setProperty(display, "org.freedesktop.UPower.Device", name, value);
}

bool setupBattery(double percentage, uint state) {
    return callMock(manager, "org.freedesktop.DBus.Mock", "SetupDisplayDevice",
                    {uint(2), state, percentage, 30.0, 60.0, 10.0, qlonglong(3600), qlonglong(0),
                     true, QString("battery-good-symbolic"), uint(1)});
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

class TestBatteryUPower : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void unplugThresholdsAndPlugBack();
    void noBatteryChangesNothing();
    void aServiceThatDoesNotAnswerFreezesNothing();
    void appearingLaterIsTheStartingState();

private:
    std::unique_ptr<Daemons::SystemBus> m_bus;
    std::unique_ptr<Daemons::Process> m_mock;
};

void TestBatteryUPower::initTestCase() {
    m_bus = std::make_unique<Daemons::SystemBus>();
    QVERIFY(!m_bus->address().isEmpty());
    m_mock = Daemons::startMock("upower", upower);
    QVERIFY(QDBusConnection::systemBus().interface()->isServiceRegistered(upower).value());
}

void TestBatteryUPower::unplugThresholdsAndPlugBack() {
    QVERIFY(setOnBattery(false));
    QVERIFY(setupBattery(50.0, charging));

    Started started;
    auto& [battery, events] = started;
    // UPower's answer comes after start(), never waited for.
    QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 50, Daemons::readyWaitMs);
    QVERIFY(battery.isPluggedIn());
    QVERIFY(battery.isCharging());
    QVERIFY(events.empty());

    QVERIFY(setOnBattery(true));
    QTRY_VERIFY_WITH_TIMEOUT(!battery.isPluggedIn(), Daemons::readyWaitMs);
    QVERIFY(setDevice("State", discharging));
    QTRY_VERIFY_WITH_TIMEOUT(!battery.isCharging(), Daemons::readyWaitMs);
    QCOMPARE(events.size(), size_t(1));
    QCOMPARE(events[0].kind, Kind::unplugged);

    // The thresholds themselves are BatteryRules' (tst_hud_rules): here, that readings reach them.
    QVERIFY(setDevice("Percentage", 9.99));
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(2), Daemons::readyWaitMs);
    QCOMPARE(events[1].kind, Kind::low);
    QCOMPARE(events[1].level, 9);
    QCOMPARE(battery.percentage(), 9);

    QVERIFY(setOnBattery(false));
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(3), Daemons::readyWaitMs);
    QCOMPARE(events[2].kind, Kind::plugged);
    QVERIFY(battery.isPluggedIn());
}

void TestBatteryUPower::noBatteryChangesNothing() {
    QVERIFY(setupBattery(40.0, discharging));
    QVERIFY(setDevice("IsPresent", false));
    BatteryMonitor battery;
    battery.start();
    QTest::qWait(500); // time for UPower's answer, which must change nothing
    QCOMPARE(battery.percentage(), 100);
    QVERIFY(!battery.isPluggedIn());
}

void TestBatteryUPower::aServiceThatDoesNotAnswerFreezesNothing() {
    QVERIFY(setOnBattery(false));
    QVERIFY(setupBattery(50.0, charging));
    Started started;
    auto& [battery, events] = started;
    QTRY_VERIFY_WITH_TIMEOUT(battery.isPluggedIn(), Daemons::readyWaitMs);

    // UPower says the cable is out, then answers nothing for 6 s: the monitor asks for the new
    // state at once, and its questions wait. A blocking call would hold the loop until its
    // time-out.
    QVERIFY(callMock(manager, "org.freedesktop.DBus.Mock", "AddMethod",
                     {upower, "Stall", "bd", "",
                      "self.Set('org.freedesktop.UPower', 'OnBattery', dbus.Boolean(args[0]))\n"
                      "self.connection.flush()\n"
                      "time.sleep(args[1])"}));
    auto stall = QDBusMessage::createMethodCall(upower, manager, upower, "Stall");
    stall.setArguments({true, 6.0});
    QVERIFY(QDBusConnection::systemBus().send(stall));
    LoopGaps gaps;
    QTest::qWait(3000);
    const double longest = gaps.longestMs();
    QVERIFY2(longest < 2000, qPrintable(QString("the loop stood still for %1 ms").arg(longest)));
    QVERIFY(events.empty());
    // Its answer, once it comes, is taken.
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(1), Daemons::readyWaitMs);
    QCOMPARE(events[0].kind, Kind::unplugged);
}

void TestBatteryUPower::appearingLaterIsTheStartingState() {
    // The app starts before UPower; UPower then comes up on battery at 15%.
    m_mock.reset();
    Started started;
    auto& [battery, events] = started;
    m_mock = Daemons::startMock("upower", upower);
    QVERIFY(setOnBattery(true));
    QVERIFY(setupBattery(15.0, discharging));
    QVERIFY(setDevice("Percentage", 14.5));
    QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 14, Daemons::readyWaitMs);
    QVERIFY(!battery.isPluggedIn());
    QVERIFY(events.empty());
    QVERIFY(setDevice("Percentage", 9.0));
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), size_t(1), Daemons::readyWaitMs);
    QCOMPARE(events[0].kind, Kind::low);

    // It restarts, and comes back plugged in at 60%: again a starting state, not a plug event.
    m_mock.reset();
    m_mock = Daemons::startMock("upower", upower);
    QVERIFY(setOnBattery(false));
    QVERIFY(setupBattery(60.0, charging));
    QTRY_COMPARE_WITH_TIMEOUT(battery.percentage(), 60, Daemons::readyWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(battery.isPluggedIn(), Daemons::readyWaitMs);
    QCOMPARE(events.size(), size_t(1));
}

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestBatteryUPower test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_battery_upower.moc"
