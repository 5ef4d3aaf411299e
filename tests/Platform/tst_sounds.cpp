// SPDX-License-Identifier: MIT
// The finishing chime reaches a real PulseAudio server (a private one with null sinks).
#include <QStandardPaths>

#include "../HUD/Daemons.h"
#include "Platform/Sounds.h"

namespace {

QString streamsPlaying() {
    QString out;
    Daemons::run("pactl", {"list", "sink-inputs"}, &out);
    return out;
}

} // namespace

class TestSounds : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_pulse = Daemons::startPulseAudio(m_dir.path());
        QVERIFY(Daemons::run("pactl", {"info"}));
        if (QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                   "sounds/freedesktop/stereo/complete.oga")
                .isEmpty())
            QSKIP("the freedesktop sound theme is not installed");
    }

    void systemNamesPlayTheirThemeSoundOnceAtATime() {
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
        QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains("complete.oga"), 20000);
        QTest::qWait(300); // time enough for a second player to connect, had one started
        QCOMPARE(streamsPlaying().count("Sink Input #"), 1);

        Sounds::play("Basso");
        QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains("dialog-error.oga"), 20000);
    }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Daemons::Process> m_pulse;
};

int main(int argc, char** argv) {
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    TestSounds test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sounds.moc"
