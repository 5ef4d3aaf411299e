// SPDX-License-Identifier: MIT
// The volume monitor against a real PulseAudio daemon with two null sinks.
#include "Daemons.h"
#include "Fakes.h"
#include "HUD/HUDRules.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"

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

} // namespace

class TestVolumePulse : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void keysStepClampAndMute();
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
    const QString run = m_dir.path() + "/run", home = m_dir.path() + "/home";
    QVERIFY(QDir().mkpath(run) && QDir().mkpath(home));
    const QString socket = run + "/" + socketName;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", home);
    env.insert("XDG_RUNTIME_DIR", run);
    env.remove("PULSE_SERVER");
    m_pulse = std::make_unique<Daemons::Process>(
        "pulseaudio",
        QStringList{"--daemonize=no", "--exit-idle-time=-1", "-n", "--use-pid-file=no",
                    "--disable-shm=yes", "--log-target=stderr", "--log-level=error",
                    "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket,
                    "--load=module-null-sink sink_name=alpha",
                    "--load=module-null-sink sink_name=beta"},
        env);
    // Our client and pactl both find the daemon through PULSE_SERVER.
    qputenv("HOME", home.toUtf8());
    qputenv("PULSE_SERVER", ("unix:" + socket).toUtf8());
    QTRY_VERIFY_WITH_TIMEOUT(Daemons::run("pactl", {"info"}), Daemons::readyWaitMs);
}

void TestVolumePulse::keysStepClampAndMute() {
    pactl({"set-sink-volume", "alpha", "97%"});
    pactl({"set-sink-mute", "alpha", "0"});
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor volume(makeAudioOutput(), &keys);
    QCOMPARE(volume.deviceID(), sinkId("alpha"));
    QVERIFY(qAbs(volume.volume() - 0.97f) < 0.0001f);
    QVERIFY(!volume.isMuted());
    volume.start();

    keys.handle(press(MediaKeys::soundUpCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.0f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 65536);
    keys.handle(press(MediaKeys::soundUpCode));
    QCOMPARE(rawVolume("alpha"), 65536);
    keys.handle(press(MediaKeys::soundDownCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.9375f, Daemons::readyWaitMs);

    // Changes made by others are mirrored.
    pactl({"set-sink-volume", "alpha", "2048"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.03125f, Daemons::readyWaitMs);
    keys.handle(press(MediaKeys::soundDownCode));
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.0f, Daemons::readyWaitMs);
    QCOMPARE(rawVolume("alpha"), 0);
    pactl({"set-sink-volume", "alpha", "32768"});
    QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.5f, Daemons::readyWaitMs);

    keys.handle(press(MediaKeys::muteCode));
    QTRY_VERIFY_WITH_TIMEOUT(volume.isMuted(), Daemons::readyWaitMs);
    QVERIFY(pactl({"get-sink-mute", "alpha"}).contains("yes"));
    const auto kind = HUDKind::volume();
    QCOMPARE(HUDRules::label(kind, HUDRules::barValue(kind, volume.volume(), volume.isMuted(), 0)),
             QString("0%"));
    QCOMPARE(volume.volume(), 0.5f);
    keys.handle(press(MediaKeys::muteCode));
    QTRY_VERIFY_WITH_TIMEOUT(!volume.isMuted(), Daemons::readyWaitMs);
}

void TestVolumePulse::followsTheDefaultSink() {
    pactl({"set-default-sink", "alpha"});
    pactl({"set-sink-volume", "alpha", "16384"});
    pactl({"set-sink-volume", "beta", "49152"});
    pactl({"set-sink-mute", "beta", "1"});
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor volume(makeAudioOutput(), &keys);
    volume.start();
    QCOMPARE(volume.volume(), 0.25f);

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
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor volume(makeAudioOutput(), &keys);
    volume.start();
    QCOMPARE(volume.volume(), 0.25f);

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
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
    VolumeMonitor volume(makeAudioOutput(), &keys);
    volume.start();
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
