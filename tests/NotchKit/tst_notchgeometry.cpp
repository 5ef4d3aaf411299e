// SPDX-License-Identifier: MIT
// The notch's geometry and motion as pure functions: springs and curves, frames, the outline.
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
    void springsSettleOvershootAndMatchTheirEasing();
    void notchAndPanelFramesOnNotchedAndPlainScreens();
    void outlineFollowsFlaresAndCorners();
    void linuxSimulatesANotchOnlyWhenAsked();
};

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
    }

    // Timing curves keep their duration: a slow start easing in, a fast one easing out.
    const NotchAnimation closing = NotchAnimation::easeIn(0.18);
    QCOMPARE(closing.durationMs(), 180);
    QVERIFY(closing.valueAt(0.09) < 0.4); // slow start
    QCOMPARE(closing.valueAt(0.18), 1.0);
    const NotchAnimation fadeIn = NotchAnimation::easeOut(0.15);
    QVERIFY(fadeIn.valueAt(0.075) > 0.6); // fast start
}

void TestNotchGeometry::notchAndPanelFramesOnNotchedAndPlainScreens() {
    const ScreenMetrics laptop = notchedLaptop();
    QVERIFY(NotchScreen::hasNotch(laptop));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(laptop), QRectF(600, 0, 312, 37));
    QCOMPARE(NotchScreen::menubarHeight(laptop), 37.0);
    QCOMPARE(NotchScreen::panelFrame(laptop), QRectF(378, 0, 756, 491));

    // Without a notch a stand-in 300 wide under the menu bar, centred on its own screen.
    QVERIFY(!NotchScreen::hasNotch(plainMonitor()));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(plainMonitor(1920)),
             QRectF(1920 + 810, 0, 300, 25));
    QCOMPARE(NotchScreen::panelFrame(plainMonitor(1920)), QRectF(1920 + 480, 0, 960, 540));

    // One side area alone is no notch.
    ScreenMetrics half = notchedLaptop();
    half.auxiliaryTopRightArea.reset();
    QVERIFY(!NotchScreen::hasNotch(half));
    QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(half), QRectF(606, 0, 300, 37));

    // Automatic takes the notch style only where there is a notch; explicit styles are drawn as
    // given.
    QVERIFY(NotchStyle::automatic().resolved(false) == NotchStyle::floating());
    QVERIFY(NotchStyle::makeNotch(8, 9).resolved(false) == NotchStyle::makeNotch(8, 9));
}

void TestNotchGeometry::outlineFollowsFlaresAndCorners() {
    const QRectF rect(0, 0, 200, 40);
    const QPainterPath path = NotchShape::path(rect, 6, 14);
    QCOMPARE(path.boundingRect(), rect);
    // The straight sides stand one top radius in from the edges; the top flares reach out to
    // them (at y = 1 the edge is near x = 3.9); the bottom corners are rounded.
    for (const QPointF p :
         {QPointF(100, 20), QPointF(7, 20), QPointF(5, 1), QPointF(195, 1), QPointF(20, 39.5)})
        QVERIFY2(path.contains(p), qPrintable(QString("%1, %2").arg(p.x()).arg(p.y())));
    for (const QPointF p : {QPointF(5, 20), QPointF(195, 20), QPointF(2, 1), QPointF(198, 1),
                            QPointF(6.5, 39.5), QPointF(193.5, 39.5)})
        QVERIFY2(!path.contains(p), qPrintable(QString("%1, %2").arg(p.x()).arg(p.y())));
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
