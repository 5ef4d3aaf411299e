// SPDX-License-Identifier: MIT
// The brightness monitor over a sysfs backlight folder, writing through logind's
// Session.SetBrightness served by python3-dbusmock (whose method writes the folder, as logind
// would).
#include "Daemons.h"
#include "Fakes.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "Platform/Linux/Backlight_linux.h"

#include "../support/Files.h"
#include "../support/LoopGaps.h"

#include <csignal>

namespace {

SystemDefinedEvent press(quint32 code) {
    return MediaKeys::auxKeyEvent(code, MediaKeys::keyDownState);
}

} // namespace

class TestBacklightLogind : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void picksFirmwareBeforeRaw();
    void pollsAndWritesThroughLogind();
    void aLogindThatDoesNotAnswerFreezesNothing();

private:
    QTemporaryDir m_sysfs;
    QString m_level;
    std::unique_ptr<Daemons::SystemBus> m_bus;
    std::unique_ptr<Daemons::Process> m_mock;
};

void TestBacklightLogind::initTestCase() {
    QVERIFY(m_sysfs.isValid());
    for (const auto& [name, type, max, value] : {std::tuple{"0000:01:00.0-bl", "raw", "100", "40"},
                                                 {"acpi_video0", "firmware", "10000", "5000"},
                                                 {"intel_backlight", "raw", "96000", "9600"}}) {
        QVERIFY(QDir(m_sysfs.path()).mkdir(name));
        const QString dir = m_sysfs.path() + '/' + name;
        writeBytes(dir + "/type", QByteArray(type) + '\n');
        writeBytes(dir + "/max_brightness", QByteArray(max) + '\n');
        writeBytes(dir + "/brightness", QByteArray(value) + '\n');
    }
    m_level = m_sysfs.path() + "/acpi_video0/brightness";

    m_bus = std::make_unique<Daemons::SystemBus>();
    m_mock = Daemons::startLogind(m_sysfs.path());
}

void TestBacklightLogind::picksFirmwareBeforeRaw() {
    SysfsBacklight light(m_sysfs.path());
    QCOMPARE(light.deviceName(), QString("acpi_video0"));
    QCOMPARE(light.brightness(), std::optional(0.5f));
    SysfsBacklight none(m_sysfs.path() + "/missing");
    QVERIFY(!none.brightness());
    QVERIFY(!none.setBrightness(0.5f));
}

void TestBacklightLogind::pollsAndWritesThroughLogind() {
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(m_sysfs.path()), &keys);
    QCOMPARE(monitor.brightness(), 0.5f);
    monitor.start();
    QTRY_COMPARE_WITH_TIMEOUT(monitor.last(), 0.5f, Daemons::readyWaitMs);

    // Someone else changes it: the poll notices by itself (its noise floor: tst_hud_monitors).
    writeBytes(m_level, "2500\n");
    QTRY_COMPARE_WITH_TIMEOUT(monitor.brightness(), 0.25f, Daemons::readyWaitMs);

    // While logind has not written our levels yet, the poll must not take the old one back.
    QSignalSpy changes(&monitor, &BrightnessMonitor::brightnessChanged);
    keys.handle(press(MediaKeys::brightnessUpCode));
    QCOMPARE(monitor.brightness(), 0.3125f);
    QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level).trimmed(), QByteArray("3125"),
                              Daemons::readyWaitMs);
    keys.handle(press(MediaKeys::brightnessDownCode));
    keys.handle(press(MediaKeys::brightnessDownCode));
    QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level).trimmed(), QByteArray("1875"),
                              Daemons::readyWaitMs);
    QCOMPARE(monitor.brightness(), 0.1875f);
    QCOMPARE(changes.count(), 3);
}

void TestBacklightLogind::aLogindThatDoesNotAnswerFreezesNothing() {
    writeBytes(m_level, "5000\n");
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(m_sysfs.path()), &keys);
    monitor.start();
    const pid_t logind = pid_t(m_mock->process().processId());
    QCOMPARE(::kill(logind, SIGSTOP), 0);
    LoopGaps gaps;
    for (int i = 0; i < 3; ++i)
        QTimer::singleShot(50 * i, &monitor,
                           [&] { keys.handle(press(MediaKeys::brightnessUpCode)); });
    QTest::qWait(1000);
    const double longest = gaps.longestMs();
    QCOMPARE(::kill(logind, SIGCONT), 0);
    QVERIFY2(longest < 2000, qPrintable(QString("the loop stood still for %1 ms").arg(longest)));
    QCOMPARE(monitor.brightness(), 0.6875f);
    QTRY_COMPARE_WITH_TIMEOUT(readBytes(m_level).trimmed(), QByteArray("6875"),
                              Daemons::readyWaitMs);
}

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestBacklightLogind test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_backlight_logind.moc"
