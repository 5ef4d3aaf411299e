// SPDX-License-Identifier: MIT
// The app icon as the tray and the windows get it: the resource :/icons/hollowmere.svg through
// QIcon (the SVG icon engine), at the sizes desktops draw it. What must survive at every size:
// the rounded body (transparent corners), the dark notch at the top centre, the lit body below.
#include <QIcon>
#include <QImage>
#include <QTest>

class TestAppIcon : public QObject {
    Q_OBJECT

private slots:
    void drawsAtEverySize_data() {
        QTest::addColumn<int>("size");
        for (int size : {16, 22, 24, 32, 48, 64, 128, 256, 512})
            QTest::newRow(qPrintable(QString::number(size))) << size;
    }

    void drawsAtEverySize() {
        QFETCH(int, size);
        const QIcon icon(QStringLiteral(":/icons/hollowmere.svg"));
        QVERIFY(!icon.isNull());
        const QImage image =
            icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(image.size(), QSize(size, size));

        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        QCOMPARE(qAlpha(image.pixel(size - 1, size - 1)), 0);
        // The notch hangs from the top edge: near black, opaque.
        const QColor notch = image.pixelColor(size / 2, size * 100 / 1024);
        QCOMPARE(notch.alpha(), 255);
        QVERIFY2(notch.value() < 40, qPrintable(notch.name()));
        // Below the ripples, the body: opaque and blue, not the notch's black.
        const QColor body = image.pixelColor(size / 2, size * 3 / 4);
        QCOMPARE(body.alpha(), 255);
        QVERIFY2(body.blue() > body.red() && body.value() > 60, qPrintable(body.name()));
        if (size >= 32) {
            // The waiting session's warm light beside the camera.
            const QColor light = image.pixelColor(size * 596 / 1024, size * 160 / 1024);
            QVERIFY2(light.red() > 200 && light.red() > light.blue() + 80,
                     qPrintable(light.name()));
        }
    }
};

QTEST_MAIN(TestAppIcon)
#include "tst_appicon.moc"
