// SPDX-License-Identifier: MIT
#include <QtTest>

#include "NotchAnimation.h"
#include "NotchScreen.h"
#include "NotchShape.h"
#include "NotchStyle.h"
#include "Platform/ScreenGeometry.h"

#include <QGuiApplication>
#include <QScreen>

#include "SampleScreens.h"

class TestNotchGeometry : public QObject {
    Q_OBJECT
private slots:
    void stylesResolveAndCompare();
    void springsSettleOvershootAndMatchTheirEasing();
    void timingCurvesKeepTheirDuration();
    void notchFrameOnNotchedAndPlainScreens();
    void panelHangsFromTheTopCentre();
    void outlineFollowsFlaresAndCorners();
    void linuxSimulatesANotchOnlyWhenAsked();
};

void TestNotchGeometry::stylesResolveAndCompare() {
    QVERIFY(NotchStyle::automatic().resolved(true) == NotchStyle::notch());
    QVERIFY(NotchStyle::automatic().resolved(false) == NotchStyle::floating());
    // Explicit styles are drawn as given, whatever the screen.
    QVERIFY(NotchStyle::makeNotch(8, 9).resolved(false) == NotchStyle::makeNotch(8, 9));
    QVERIFY(NotchStyle::makeFloating(12).resolved(true) == NotchStyle::makeFloating(12));
    QCOMPARE(NotchStyle::makeFloating(12).topCornerRadius(), 0.0);
}

void TestNotchGeometry::springsSettleOvershootAndMatchTheirEasing() {
    const NotchAnimation critical = NotchAnimation::spring(0.4, 1.0);
    const NotchAnimation bouncy = NotchAnimation::spring(0.4, 0.7);
    QCOMPARE(critical.valueAt(0), 0.0);
    double peakCritical = 0, peakBouncy = 0, previous = 0;
    for (double t = 0; t <= 1.5; t += 0.005) {
        const double c = critical.valueAt(t);
        QVERIFY2(c >= previous - 1e-9, "a critically damped spring never turns back");
        previous = c;
        peakCritical = std::max(peakCritical, c);
        peakBouncy = std::max(peakBouncy, bouncy.valueAt(t));
    }
    QVERIFY(peakCritical <= 1.0 + 1e-9);
    QVERIFY(peakBouncy > 1.03); // visibly overshoots
    QVERIFY(std::abs(critical.valueAt(critical.duration()) - 1) <= 0.001);
    QVERIFY(std::abs(critical.valueAt(critical.duration() * 0.8) - 1) > 0.001);
    // Settling takes about one and a half responses for these dampings.
    QVERIFY(critical.duration() > 0.4 && critical.duration() < 0.8);
    QVERIFY(bouncy.duration() > 0.4 && bouncy.duration() < 1.0);

    // What Qt Quick animates is the spring itself.
    for (const NotchAnimation& a :
         {critical, bouncy, NotchAnimation::spring(0.5, 1.0), NotchAnimation::spring(0.22, 0.86)}) {
        const QEasingCurve curve = a.easingCurve();
        for (double p = 0; p <= 1.0; p += 0.01)
            QVERIFY2(std::abs(curve.valueForProgress(p) - a.valueAt(p * a.duration())) < 0.01,
                     qPrintable(QStringLiteral("progress %1").arg(p)));
        QCOMPARE(a.bezierCurve().size() % 6, 0);
        QCOMPARE(a.bezierCurve().constLast().toDouble(), 1.0);
        QCOMPARE(a.durationMs(), int(std::lround(a.duration() * 1000)));
    }
}

void TestNotchGeometry::timingCurvesKeepTheirDuration() {
    const NotchAnimation closing = NotchAnimation::easeIn(0.18);
    QCOMPARE(closing.durationMs(), 180);
    QVERIFY(closing.valueAt(0.09) < 0.4); // slow start
    QCOMPARE(closing.valueAt(0.18), 1.0);
    const NotchAnimation fadeIn = NotchAnimation::easeOut(0.15);
    QVERIFY(fadeIn.valueAt(0.075) > 0.6); // fast start
    QCOMPARE(fadeIn.bezierCurve().size(), 6);
}

void TestNotchGeometry::notchFrameOnNotchedAndPlainScreens() {
    const ScreenMetrics laptop = notchedLaptop();
    QVERIFY(NotchScreen::hasNotch(laptop));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(laptop), QRectF(600, 0, 312, 37));
    QCOMPARE(NotchScreen::menubarHeight(laptop), 37.0);

    const ScreenMetrics monitor = plainMonitor();
    QVERIFY(!NotchScreen::hasNotch(monitor));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(monitor), QRectF(810, 0, 300, 25));
    // The stand-in stays 300 wide on any screen, centred on that screen.
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(plainMonitor(1920)),
             QRectF(1920 + 810, 0, 300, 25));

    // One side area alone is no notch.
    ScreenMetrics half = notchedLaptop();
    half.auxiliaryTopRightArea.reset();
    QVERIFY(!NotchScreen::hasNotch(half));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(half), QRectF(606, 0, 300, 37));
}

void TestNotchGeometry::panelHangsFromTheTopCentre() {
    QCOMPARE(NotchScreen::panelFrame(notchedLaptop()), QRectF(378, 0, 756, 491));
    QCOMPARE(NotchScreen::panelFrame(plainMonitor()), QRectF(480, 0, 960, 540));
    QCOMPARE(NotchScreen::panelFrame(plainMonitor(1920)), QRectF(1920 + 480, 0, 960, 540));
}

void TestNotchGeometry::outlineFollowsFlaresAndCorners() {
    const QRectF rect(0, 0, 200, 40);
    const QPainterPath path = NotchShape::path(rect, 6, 14);
    // The straight sides stand one top radius in from the edges.
    QCOMPARE(path.elementAt(0).x, 0.0);
    QCOMPARE(path.elementAt(0).y, 0.0);
    QCOMPARE(path.boundingRect(), rect);
    QVERIFY(path.contains(QPointF(100, 20)));
    QVERIFY(path.contains(QPointF(7, 20)));
    QVERIFY(!path.contains(QPointF(5, 20)));
    QVERIFY(!path.contains(QPointF(195, 20)));
    // The top flare: at y = 1 the edge is near x = 3.9 (and mirrored on the right).
    QVERIFY(path.contains(QPointF(5, 1)));
    QVERIFY(!path.contains(QPointF(2, 1)));
    QVERIFY(path.contains(QPointF(195, 1)));
    QVERIFY(!path.contains(QPointF(198, 1)));
    // The bottom corners are rounded: the very corner of the straight part is outside.
    QVERIFY(!path.contains(QPointF(6.5, 39.5)));
    QVERIFY(path.contains(QPointF(20, 39.5)));
    QVERIFY(!path.contains(QPointF(193.5, 39.5)));
}

void TestNotchGeometry::linuxSimulatesANotchOnlyWhenAsked() {
    QScreen* screen = QGuiApplication::primaryScreen();
    QVERIFY(screen);
    qunsetenv("HOLLOWMERE_SIMULATE_NOTCH");
    ScreenMetrics plain = ScreenGeometry::metrics(screen);
    QCOMPARE(plain.frame, QRectF(screen->geometry()));
    QVERIFY(!NotchScreen::hasNotch(plain));

    qputenv("HOLLOWMERE_SIMULATE_NOTCH", "200x32");
    const ScreenMetrics simulated = ScreenGeometry::metrics(screen);
    qunsetenv("HOLLOWMERE_SIMULATE_NOTCH");
    QVERIFY(NotchScreen::hasNotch(simulated));
    const QRectF notch = NotchScreen::notchFrameWithMenubarAsBackup(simulated);
    QCOMPARE(notch.size(), QSizeF(200, 32));
    QCOMPARE(notch.center().x(), QRectF(screen->geometry()).center().x());
    QVERIFY(NotchScreen::menubarHeight(simulated) >= 32);

    qputenv("HOLLOWMERE_SIMULATE_NOTCH", "wide");
    QVERIFY(!NotchScreen::hasNotch(ScreenGeometry::metrics(screen)));
    qunsetenv("HOLLOWMERE_SIMULATE_NOTCH");
}

QTEST_MAIN(TestNotchGeometry)
#include "tst_notchgeometry.moc"
