// SPDX-License-Identifier: MIT
// PulseAudio's clients against a real daemon with two null sinks: the volume monitor and the
// finishing chime.
#include "../support/LoopGaps.h"
#include "Daemons.h"
#include "Fakes.h"
#include "HUD/VolumeMonitor.h"
#include "Platform/Sounds.h"

#include <QStandardPaths>

#include <csignal>

namespace {

constexpr int wait = Daemons::readyWaitMs;
constexpr quint32 up = MediaKeys::soundUpCode, down = MediaKeys::soundDownCode;

QString pactl(const QStringList& args) {
    QString out;
    if (!Daemons::run("pactl", args, &out))
        qWarning() << "pactl" << args << "failed";
    return out;
}

// The raw volume of a sink's first channel, as pactl prints it ("front-left: 65536 / 100% ...").
int rawVolume(const QString& sink) {
    const auto match =
        QRegularExpression(R"(:\s*(\d+)\s*/)").match(pactl({"get-sink-volume", sink}));
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

// The app's volume monitor, started, with its own keys.
struct Started {
    TrustedKeys keys;
    VolumeMonitor volume{makeAudioOutput(), &keys};
    Started() { volume.start(); }
};

} // namespace

class TestVolumePulse : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        startPulse();
    }

    void init() {
        pactl({"set-default-sink", "alpha"});
        pactl({"set-sink-volume", "alpha", "16384"});
        pactl({"set-sink-mute", "alpha", "0"});
    }

    void keysStepClampAndMute() {
        pactl({"set-sink-volume", "alpha", "97%"});
        Started started;
        auto& [keys, volume] = started;
        // The server's answers arrive after creation, never waited for.
        QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("alpha"), wait);
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(volume.volume() - 0.97f) < 0.0001f, wait);
        QVERIFY(!volume.isMuted());

        // The rules are VolumeMonitor's (tst_hud_monitors): here, that the steps reach the sink
        // and that others' changes come back.
        keys.handle(press(up));
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.0f, wait);
        QCOMPARE(rawVolume("alpha"), 65536);
        pactl({"set-sink-volume", "alpha", "32768"});
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.5f, wait);
        keys.handle(press(down));
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.4375f, wait);
        QCOMPARE(rawVolume("alpha"), 28672);

        keys.handle(press(MediaKeys::muteCode));
        QTRY_VERIFY_WITH_TIMEOUT(volume.isMuted(), wait);
        QVERIFY(pactl({"get-sink-mute", "alpha"}).contains("yes"));
        keys.handle(press(MediaKeys::muteCode));
        QTRY_VERIFY_WITH_TIMEOUT(!volume.isMuted(), wait);

        // Amplified to 150%: up does not pull it back to full; down steps from where it is.
        pactl({"set-sink-volume", "alpha", "98304"});
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.5f, wait);
        keys.handle(press(up));
        keys.handle(press(down));
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 1.4375f, wait);
        QCOMPARE(rawVolume("alpha"), 94208);

        // Another default sink is followed, with its own level and mute; presses reach it alone.
        pactl({"set-sink-volume", "beta", "49152"});
        pactl({"set-sink-mute", "beta", "1"});
        pactl({"set-default-sink", "beta"});
        QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("beta"), wait);
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.75f, wait);
        QVERIFY(volume.isMuted());
        keys.handle(press(up));
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.8125f, wait);
        QCOMPARE(rawVolume("beta"), 53248);
        QCOMPARE(rawVolume("alpha"), 94208);
    }

    void aStoppedServerFreezesNothing() {
        Started started;
        auto& [keys, volume] = started;
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, wait);

        // A server that answers nothing (stopped, as a stuck one would be): key presses and the
        // loop around them go on. A synchronous round trip would hold it for libpulse's 30 s.
        const pid_t server = pid_t(m_pulse->process().processId());
        QCOMPARE(::kill(server, SIGSTOP), 0);
        LoopGaps gaps;
        for (int i = 0; i < 3; ++i)
            QTimer::singleShot(50 * i, &volume, [&] { keys.handle(press(up)); });
        QTest::qWait(400);
        const double longest = gaps.longestMs();
        QCOMPARE(::kill(server, SIGCONT), 0);
        QVERIFY2(longest < 1000,
                 qPrintable(QString("the loop stood still for %1 ms").arg(longest)));
        // Once it answers again, what was sent lands: each press stepped from the level then known.
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.3125f, wait);
        QCOMPARE(rawVolume("alpha"), 20480);
    }

    void chimesPlayTheirThemeSoundOnceAtATime() {
        if (QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                   "sounds/freedesktop/stereo/complete.oga")
                .isEmpty())
            QSKIP("the freedesktop sound theme is not installed");
        // Without a server the player fails on its own, detached, and frees its sound.
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER", "unix:/nonexistent/native");
        Sounds::play("Basso");
        Sounds::play("NoSuchSystemSound");
        qputenv("PULSE_SERVER", server);

        // Three sessions stopping at once: one chime ("Hero" is the same theme sound).
        Sounds::play("Glass");
        Sounds::play("Glass");
        Sounds::play("Hero");
        QTRY_VERIFY_WITH_TIMEOUT(pactl({"list", "sink-inputs"}).contains("complete.oga"), wait);
        QTest::qWait(300); // time enough for a second player to connect, had one started
        QCOMPARE(pactl({"list", "sink-inputs"}).count("Sink Input #"), 1);
        Sounds::play("Basso");
        QTRY_VERIFY_WITH_TIMEOUT(pactl({"list", "sink-inputs"}).contains("dialog-error.oga"), wait);
    }

    // Last: it leaves the server on another socket.
    void followsAServerThatComesAndGoes() {
        m_pulse.reset();
        qputenv("PULSE_SERVER", ("unix:" + m_dir.path() + "/run/later").toUtf8());
        QTest::ignoreMessage(QtWarningMsg,
                             "Hollowmere: no PulseAudio server yet; volume follows once one runs");
        Started started;
        auto& [keys, volume] = started;
        keys.handle(press(up));
        QCOMPARE(volume.volume(), 0.0f);
        startPulse("later");
        pactl({"set-default-sink", "beta"});
        pactl({"set-sink-volume", "beta", "16384"});
        QTRY_COMPARE_WITH_TIMEOUT(volume.deviceID(), sinkId("beta"), wait);
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.25f, wait);

        // Gone and back: presses meanwhile do nothing and do not hang.
        QTest::ignoreMessage(QtWarningMsg, "Hollowmere: lost the PulseAudio server, retrying");
        m_pulse.reset();
        keys.handle(press(up));
        startPulse("later");
        pactl({"set-default-sink", "alpha"});
        pactl({"set-sink-volume", "alpha", "49152"});
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.75f, wait);
        keys.handle(press(up));
        QTRY_COMPARE_WITH_TIMEOUT(volume.volume(), 0.8125f, wait);
    }

private:
    void startPulse(const QString& socketName = "native") {
        m_pulse = Daemons::startPulseAudio(m_dir.path(), socketName);
        QVERIFY(Daemons::run("pactl", {"info"}));
    }
    QTemporaryDir m_dir;
    std::unique_ptr<Daemons::Process> m_pulse;
};

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestVolumePulse test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_volume_pulse.moc"
