// SPDX-License-Identifier: MIT
// The finishing chime reaches a real PulseAudio server (a private one with a null sink).
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "Platform/Sounds.h"

class TestSounds : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void playsTheThemeSoundForTheSystemName_data();
    void playsTheThemeSoundForTheSystemName();
    void aSoundStillPlayingIsNotStartedAgain();
    void withoutServerNothingHappens();

private:
    QString streamsPlaying();
    QTemporaryDir m_runtime;
    QProcess m_server;
};

void TestSounds::initTestCase() {
    if (QStandardPaths::findExecutable("pulseaudio").isEmpty() ||
        QStandardPaths::findExecutable("pactl").isEmpty())
        QSKIP("PulseAudio is not installed");
    QVERIFY(m_runtime.isValid());
    // Everything PulseAudio looks for lives in the private directory; this process and the
    // players it starts find the server through the environment.
    qputenv("XDG_RUNTIME_DIR", m_runtime.path().toUtf8());
    qputenv("HOME", m_runtime.path().toUtf8());
    qputenv("PULSE_SERVER", ("unix:" + m_runtime.filePath("pulse/native")).toUtf8());
    m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_server.start("pulseaudio", {"-n", "--daemonize=no", "--exit-idle-time=-1", "--disallow-exit",
                                  "--use-pid-file=no", "--load=module-null-sink sink_name=quiet",
                                  "--load=module-native-protocol-unix"});
    QVERIFY(m_server.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QProcess::execute("pactl", {"info"}) == 0, 20000);
}

void TestSounds::cleanupTestCase() {
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate();
        m_server.waitForFinished(5000);
    }
}

QString TestSounds::streamsPlaying() {
    QProcess pactl;
    pactl.start("pactl", {"list", "sink-inputs"});
    pactl.waitForFinished(5000);
    return QString::fromUtf8(pactl.readAllStandardOutput());
}

void TestSounds::playsTheThemeSoundForTheSystemName_data() {
    QTest::addColumn<QString>("systemName");
    QTest::addColumn<QString>("themeFile");
    QTest::newRow("Glass") << "Glass"
                           << "freedesktop/stereo/complete.oga";
    QTest::newRow("Basso") << "Basso"
                           << "freedesktop/stereo/dialog-error.oga";
}

void TestSounds::playsTheThemeSoundForTheSystemName() {
    QFETCH(QString, systemName);
    QFETCH(QString, themeFile);
    if (QStandardPaths::locate(QStandardPaths::GenericDataLocation, "sounds/" + themeFile)
            .isEmpty())
        QSKIP("the freedesktop sound theme is not installed");
    // Wait for an earlier case's sound to end so that each stream is told apart.
    QTRY_VERIFY_WITH_TIMEOUT(!streamsPlaying().contains("media.name"), 20000);
    Sounds::play(systemName);
    QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains(themeFile), 20000);
}

void TestSounds::aSoundStillPlayingIsNotStartedAgain() {
    if (QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                               "sounds/freedesktop/stereo/complete.oga")
            .isEmpty())
        QSKIP("the freedesktop sound theme is not installed");
    QTRY_VERIFY_WITH_TIMEOUT(!streamsPlaying().contains("media.name"), 20000);
    // Three sessions stopping at once: one chime ("Hero" is the same theme sound).
    Sounds::play("Glass");
    Sounds::play("Glass");
    Sounds::play("Hero");
    QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains("complete.oga"), 20000);
    QTest::qWait(300); // time enough for a second player to connect, had one started
    QCOMPARE(streamsPlaying().count("Sink Input #"), 1);
}

void TestSounds::withoutServerNothingHappens() {
    QTRY_VERIFY_WITH_TIMEOUT(!streamsPlaying().contains("media.name"), 20000);
    const QByteArray server = qgetenv("PULSE_SERVER");
    qputenv("PULSE_SERVER", "unix:/nonexistent/native");
    Sounds::play("Glass"); // the player fails on its own, detached
    Sounds::play("NoSuchSystemSound");
    qputenv("PULSE_SERVER", server);
    QTest::qWait(300);
    QVERIFY(!streamsPlaying().contains("media.name"));
}

QTEST_GUILESS_MAIN(TestSounds)
#include "tst_sounds.moc"
