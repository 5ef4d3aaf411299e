// SPDX-License-Identifier: MIT
// The notch's derived texts, as tables.
#include <QtTest>

#include "Notch/RelativeTime.h"

class TestNotchTexts : public QObject {
    Q_OBJECT
private slots:
    void relativeTime_data();
    void relativeTime();
};

void TestNotchTexts::relativeTime_data() {
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("untilChange");
    QTest::newRow("59.9 s") << 59900LL << "now" << 1LL;
    QTest::newRow("60 s") << 60000LL << "1m" << 60LL;
    QTest::newRow("5 m 30 s") << 330000LL << "5m" << 30LL;
    QTest::newRow("3599 s") << 3599000LL << "59m" << 1LL;
    QTest::newRow("1 h") << 3600000LL << "1h" << 3600LL;
    QTest::newRow("a day less a second") << 86399000LL << "23h" << 1LL;
    QTest::newRow("1 d") << 86400000LL << "1d" << 86400LL;
    QTest::newRow("clock set back") << -5000LL << "now" << 65LL;
}

void TestNotchTexts::relativeTime() {
    QFETCH(qint64, ms);
    const QDateTime then = QDateTime::fromMSecsSinceEpoch(1700000000000LL, Qt::UTC);
    const qint64 seconds = RelativeTime::elapsedSeconds(then, then.addMSecs(ms));
    QTEST(RelativeTime::text(seconds), "text");
    QTEST(RelativeTime::secondsUntilChange(seconds), "untilChange");
}

QTEST_GUILESS_MAIN(TestNotchTexts)
#include "tst_notch_texts.moc"
