// SPDX-License-Identifier: MIT
// The volume monitor against a real PulseAudio daemon with two null sinks.
#include "../support/LoopGaps.h"
#include "Daemons.h"
#include "Fakes.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"

#include <csignal>

namespace {

SystemDefinedEvent press(quint32 code) {
    return MediaKeys::auxKeyEvent(code, MediaKeys::keyDownState);
}

QString pactl(const QStringList& args) {
    QString out;
    if (!Daemons::run("pactl", args, &out))
        qWarning() << "pactl" << args << "failed";
    return out;
}

// The raw volume of a sink's first channel, as pactl prints it ("front-left: 65536 / 100% ...").
int rawVolume(const QString& sink) {
    const QString out = pactl({"get-sink-volume", sink});
    const auto match = QRegularExpression(R"(:\s*(\d+)\s*/)").match(out);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

quint32 sinkId(const QString& name) {
    for (const QString& line : pactl({"list", "short", "sinks"}).split('\n')) {
        const QStringList fields = line.split('\t');
        if (fields.size() > 1 && fields[1] == name)
            return fields[0].toUInt() + 1;
    }
    return 0;
}

// The app's volume monitor, started, with its own key suppressor.
struct Started {
    SystemHUDSuppressor keys{std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; }};
    VolumeMonitor volume{makeAudioOutput(), &keys};
    Started() { volume.start(); }
};

} // namespace

class TestVolumePulse : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void keysStepClampAndMute();
    void aboveFullKeepsItsLevel();
    void aStoppedServerFreezesNothing();
    void followsTheDefaultSink();
    void comesBackAfterTheServerRestarts();
    void startsBeforeTheServer();

private:
    void startPulse(const QString& socketName = "native");
    QTemporaryDir m_dir;
    std::unique_ptr<Daemons::Process> m_pulse;
};

void TestVolumePulse::initTestCase() {
    QVERIFY(m_dir.isValid());
    startPulse();
    QVERIFY(m_pulse);
    pactl({"set-default-sink", "alpha"});
}

void TestVolumePulse::startPulse(const QString& socketName) {
    m_pulse = Daemons::startPulseAudio(m_dir.path(), socketName);
    QVERIFY(Daemons::run("pactl", {"info"}));
}

void TestVolumePulse::keysStepClampAndMute() {
    pactl({"set-sink-volume", "alpha", "97%"});
    pactl({"set-sink-mute", "alpha", "0"});
    Started started;
    auto& [keys, volume] = started;
    // The server's answers arrive after creation, never waited for.
    QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("alpha"), Daemons::readyWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(volume.volume() - 0.97f) < 0.0001f, Daemons::readyWaitMs);
    QVERIFY(!volume.isMuted());

    // The step and clamp rules are VolumeMonitor's (tst_hud_monitors): here, that they reach
    // the sink and that others' changes come back.
    keys.handle(press(MediaKeys::soundUpCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.0f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 65536);
    pactl({"set-sink-volume", "alpha", "32768"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.5f, Daemons::readyWaitMs);
    keys.handle(press(MediaKeys::soundDownCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.4375f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 28672);

    keys.handle(press(MediaKeys::muteCode));
    QTRY_VERIFY_WITH_TIMEOUT(volume.isMuted(), Daemons::readyWaitMs);
    QVERIFY(pactl({"get-sink-mute", "alpha"}).contains("yes"));
    keys.handle(press(MediaKeys::muteCode));
    QTRY_VERIFY_WITH_TIMEOUT(!volume.isMuted(), Daemons::readyWaitMs);
}

void TestVolumePulse::aboveFullKeepsItsLevel() {
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "98304"}); // 150%
    Started started;
    auto& [keys, volume] = started;
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.5f, Daemons::readyWaitMs);

    // Up does not pull it back to 100%; down steps from where it is.
    keys.handle(press(MediaKeys::soundUpCode));
    keys.handle(press(MediaKeys::soundDownCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.4375f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 94208);
}

void TestVolumePulse::aStoppedServerFreezesNothing() {
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "16384"});
    Started started;
    auto& [keys, volume] = started;
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, Daemons::readyWaitMs);

    // A server that answers nothing (stopped, as a stuck one would be): key presses and the
    // loop around them go on. A synchronous round trip would hold the loop for libpulse's 30 s.
    const pid_t server = pid_t(m_pulse->process().processId());
    QCOMPARE(::kill(server, SIGSTOP), 0);
    LoopGaps gaps;
    for (int i = 0; i < 3; ++i)
        QTimer::singleShot(50 * i, &volume, [&] { keys.handle(press(MediaKeys::soundUpCode)); });
    QTest::qWait(1000);
    const double longest = gaps.longestMs();
    QCOMPARE(::kill(server, SIGCONT), 0);
    // A freeze is seconds long; scheduling on a busy machine is far shorter than this.
    QVERIFY2(longest < 2000, qPrintable(QString("the loop stood still for %1 ms").arg(longest)));
    // Once it answers again, what was sent lands: each press stepped from the level then known.
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.3125f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 20480);
}

void TestVolumePulse::followsTheDefaultSink() {
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "16384"});
    pactl({"set-sink-volume", "beta", "49152"});
    pactl({"set-sink-mute", "beta", "1"});
    Started started;
    auto& [keys, volume] = started;
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, Daemons::readyWaitMs);

    pactl({"set-default-sink", "beta"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("beta"), Daemons::readyWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.75f, Daemons::readyWaitMs);
    QVERIFY(volume.isMuted());

    keys.handle(press(MediaKeys::soundUpCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.8125f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("beta"), 53248);
    QCOMPARE(rawVolume("alpha"), 16384);
    pactl({"set-sink-volume", "beta", "65536"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.0f, Daemons::readyWaitMs);
}

void TestVolumePulse::comesBackAfterTheServerRestarts() {
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "16384"});
    Started started;
    auto& [keys, volume] = started;
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, Daemons::readyWaitMs);

    QTest::ignoreMessage(QtWarningMsg, "Hollowmere: lost the PulseAudio server, retrying");
    m_pulse.reset();
    // Presses while the server is gone do nothing and do not hang.
    keys.handle(press(MediaKeys::soundUpCode));
    startPulse();
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "49152"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.75f, Daemons::readyWaitMs);
    keys.handle(press(MediaKeys::soundUpCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.8125f, Daemons::readyWaitMs);
}

void TestVolumePulse::startsBeforeTheServer() {
    m_pulse.reset();
    qputenv("PULSE_SERVER", ("unix:" + m_dir.path() + "/run/later").toUtf8());
    QTest::ignoreMessage(QtWarningMsg,
                         "Hollowmere: no PulseAudio server yet; volume follows once one runs");
    Started started;
    auto& [keys, volume] = started;
    QCOMPARE(volume.deviceID(), 0u);
    keys.handle(press(MediaKeys::soundUpCode));
    QCOMPARE(volume.volume(), 0.0f);

    startPulse("later");
    pactl({"set-default-sink", "beta"});
    pactl({"set-sink-volume", "beta", "16384"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("beta"), Daemons::readyWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, Daemons::readyWaitMs);
}

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestVolumePulse test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_volume_pulse.moc"
