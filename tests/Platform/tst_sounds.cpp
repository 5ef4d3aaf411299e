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

bool themeHas(const QString& file) {
    return !QStandardPaths::locate(QStandardPaths::GenericDataLocation, "sounds/" + file).isEmpty();
}

} // namespace

class TestSounds : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_pulse = Daemons::startPulseAudio(m_dir.path());
        QVERIFY(Daemons::run("pactl", {"info"}));
        if (!themeHas("freedesktop/stereo/complete.oga"))
            QSKIP("the freedesktop sound theme is not installed");
    }

    void systemNamesPlayTheirThemeSoundOnceAtATime() {
        // Three sessions stopping at once: one chime ("Hero" is the same theme sound).
        Sounds::play("Glass");
        Sounds::play("Glass");
        Sounds::play("Hero");
        QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains("complete.oga"), 20000);
        QTest::qWait(300); // time enough for a second player to connect, had one started
        QCOMPARE(streamsPlaying().count("Sink Input #"), 1);

        QTRY_VERIFY_WITH_TIMEOUT(!streamsPlaying().contains("media.name"), 20000);
        Sounds::play("Basso");
        QTRY_VERIFY_WITH_TIMEOUT(streamsPlaying().contains("dialog-error.oga"), 20000);
    }

    void withoutServerNothingHappens() {
        QTRY_VERIFY_WITH_TIMEOUT(!streamsPlaying().contains("media.name"), 20000);
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER", "unix:/nonexistent/native");
        Sounds::play("Glass"); // the player fails on its own, detached
        Sounds::play("NoSuchSystemSound");
        qputenv("PULSE_SERVER", server);
        QTest::qWait(300);
        QVERIFY(!streamsPlaying().contains("media.name"));
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
