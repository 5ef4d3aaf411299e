// SPDX-License-Identifier: MIT
// The notch's geometry and motion as pure functions (springs, screen frames), and the surface over
// real timers and windows: when callers resume, how long a closing window stays, and what a show
// arriving meanwhile keeps. Times are only ever checked from below: a busy machine makes timers
// late, never early.
#include <QtTest>

#include "NotchAnimation.h"
#include "NotchPanel.h"
#include "NotchScreen.h"
#include "NotchSurface.h"
#include "Platform/Haptics.h"
#include "Platform/ScreenGeometry.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QScreen>

#include <memory>

#include "SampleScreens.h"

namespace {

class CountingHaptics : public HapticPerformer {
public:
    void performAlignmentFeedback() override { ++taps; }
    int taps = 0;
};

int livePanels() {
    int n = 0;
    for (QWindow* w : QGuiApplication::topLevelWindows())
        n += qobject_cast<NotchPanel*>(w) ? 1 : 0;
    return n;
}

} // namespace

class TestNotchSurface : public QObject {
    Q_OBJECT
private slots:
    void springsSettleOvershootAndMatchTheirEasing() {
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

        // What Qt Quick animates is the spring itself.
        for (const NotchAnimation& a : {critical, bouncy, NotchAnimation::spring(0.22, 0.86)}) {
            const QEasingCurve curve = a.easingCurve();
            for (double p = 0; p <= 1.0; p += 0.01)
                QVERIFY2(std::abs(curve.valueForProgress(p) - a.valueAt(p * a.duration())) < 0.01,
                         qPrintable(QStringLiteral("progress %1").arg(p)));
        }
    }
    // (The frames of a notched laptop and a plain monitor are checked on live windows.)
    void framesOnOtherMonitorsAndHalfNotches() {
        // Without a notch a stand-in 300 wide under the menu bar, centred on its own screen.
        QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(plainMonitor(1920)),
                 QRectF(1920 + 810, 0, 300, 25));
        QCOMPARE(NotchScreen::panelFrame(plainMonitor(1920)), QRectF(1920 + 480, 0, 960, 540));
        // One side area alone is no notch.
        ScreenMetrics half = notchedLaptop();
        half.auxiliaryTopRightArea.reset();
        QVERIFY(!NotchScreen::hasNotch(half));
        QCOMPARE(NotchScreen::notchFrameWithMenubarAsBackup(half), QRectF(606, 0, 300, 37));
    }
    void linuxSimulatesANotchOnlyWhenAsked() {
        QScreen* screen = QGuiApplication::primaryScreen();
        qunsetenv("HOLLOWMERE_SIMULATE_NOTCH");
        QVERIFY(!NotchScreen::hasNotch(ScreenGeometry::metrics(screen)));

        qputenv("HOLLOWMERE_SIMULATE_NOTCH", "200x32");
        const ScreenMetrics simulated = ScreenGeometry::metrics(screen);
        qunsetenv("HOLLOWMERE_SIMULATE_NOTCH");
        QVERIFY(NotchScreen::hasNotch(simulated));
        const QRectF notch = NotchScreen::notchFrameWithMenubarAsBackup(simulated);
        QCOMPARE(notch.size(), QSizeF(200, 32));
        QCOMPARE(notch.center().x(), QRectF(screen->geometry()).center().x());
    }
    void cleanup() {
        m_haptics.taps = 0;
        QTRY_COMPARE(livePanels(), 0);
    }
    void showResumesAfterTheSpringAndHideWaitsPauseAndFade() {
        auto notch = make();
        QElapsedTimer clock;
        clock.start();
        qint64 resumed = -1;
        notch->expand(screen(), [&] { resumed = clock.elapsed(); });
        // The state and the window change at once; the caller resumes once the spring settled.
        QCOMPARE(notch->state(), NotchState::expanded);
        QPointer<NotchPanel> window = notch->window();
        QVERIFY(window && window->isVisible());
        QTRY_VERIFY(resumed >= 0);
        QVERIFY2(resumed >= 395, qPrintable(QString::number(resumed)));
        QTRY_COMPARE(window->opacity(), 1.0);

        // The window outlives the closing spring: fully opaque through a quarter-second pause, then
        // it fades and goes.
        qint64 fades = -1, hidden = -1;
        connect(window, &QWindow::opacityChanged, this,
                [&] { fades = fades < 0 ? clock.elapsed() : fades; });
        clock.restart();
        notch->hide([&] { hidden = clock.elapsed(); });
        QCOMPARE(notch->state(), NotchState::hidden);
        QVERIFY(notch->window() && notch->hasPendingClose());
        QTRY_VERIFY(hidden >= 0);
        QVERIFY2(fades >= 245 && hidden > fades,
                 qPrintable(QString("%1, %2").arg(fades).arg(hidden)));
        QVERIFY(!notch->window() && !notch->hasPendingClose());
        QTRY_VERIFY(!window);
        // Hiding a hidden notch finishes at once.
        bool again = false;
        notch->hide([&] { again = true; });
        QVERIFY(again);
    }
    void showDuringAHideKeepsTheWindow() {
        auto notch = make();
        notch->expand(screen());
        QPointer<NotchPanel> window = notch->window();
        bool hidden = false;
        notch->hide([&] { hidden = true; });
        // 0.1 s later; a timer, so that it comes before the close's own timer however late the
        // event loop runs.
        bool shown = false;
        QTimer::singleShot(100, notch.get(), [&] {
            notch->expand(screen());
            shown = true;
        });
        QTRY_VERIFY(shown);
        QCOMPARE(notch->window(), window.data());
        QVERIFY(!notch->hasPendingClose());
        // Long past the abandoned close: the window is still up and opaque.
        QTest::qWait(500);
        QVERIFY(!hidden);
        QVERIFY(window && window->isVisible());
        QTRY_COMPARE(window->opacity(), 1.0);

        // Even once the fade has begun, a show keeps the window (and fades it back in).
        notch->hide();
        bool fading = false;
        connect(window, &QWindow::opacityChanged, this, [&](qreal opacity) {
            if (fading || opacity >= 1.0 || !notch->isHidden())
                return;
            fading = true;
            // Not from inside the fade's own signal: the show deletes that animation.
            QTimer::singleShot(0, notch.get(), [&] { notch->compact(screen()); });
        });
        QTRY_VERIFY(fading);
        QTRY_COMPARE(notch->state(), NotchState::compact);
        QTest::qWait(400);
        QCOMPARE(notch->window(), window.data());
        QTRY_COMPARE(window->opacity(), 1.0);
        QCOMPARE(livePanels(), 1);
    }
    void hideWaitsForThePointerToLeaveWithKeepVisible() {
        auto notch = make(NotchHoverOption::keepVisible);
        notch->expand(screen());
        notch->updateHoverState(true);
        int hides = 0;
        notch->hide([&] { ++hides; });
        notch->hide([&] { ++hides; });
        QTest::qWait(500);
        QCOMPARE(notch->state(), NotchState::expanded);
        QVERIFY(!notch->hasPendingClose());
        notch->updateHoverState(false);
        QTRY_COMPARE(hides, 2);
        QVERIFY(!notch->window());

        // A show while a hide is held ends that hide: its waiter resumes at once, and the pointer
        // leaving later takes nothing away.
        notch->expand(screen());
        notch->updateHoverState(true);
        bool held = false;
        notch->hide([&] { held = true; });
        notch->_compact(screen(), true);
        QVERIFY(held);
        notch->updateHoverState(false);
        QTest::qWait(250);
        QCOMPARE(notch->state(), NotchState::compact);
        QCOMPARE(m_haptics.taps, 0);

        // With haptics: one tap per change, none while hidden. Without keepVisible the pointer
        // holds nothing back, and hiding forgets the hover.
        auto tapping = make(NotchHoverOption::hapticFeedback);
        QSignalSpy hovering(tapping.get(), &NotchSurface::isHoveringChanged);
        tapping->updateHoverState(true);
        QVERIFY(!tapping->isHovering());
        tapping->compact(screen());
        for (const bool over : {true, true, false, true})
            tapping->updateHoverState(over);
        QCOMPARE(m_haptics.taps, 3);
        QCOMPARE(hovering.count(), 3);
        tapping->hide();
        QCOMPARE(tapping->state(), NotchState::hidden);
        QVERIFY(!tapping->isHovering());
    }
    void conversionsMorphOrCloseInBetween() {
        auto notch = make();
        bool ready = false;
        notch->compact(screen(), [&] { ready = true; });
        QTRY_VERIFY(ready);
        NotchPanel* window = notch->window();

        // Without skipping: close, pause a quarter second, reopen in the new form, same window.
        QList<NotchState> seen;
        QElapsedTimer clock;
        qint64 reopened = -1;
        connect(notch.get(), &NotchSurface::stateChanged, this, [&] {
            seen << notch->state();
            reopened = clock.elapsed();
        });
        clock.start();
        notch->_expand(screen(), false);
        QVERIFY(notch->stateAnimation() == notch->effectiveClosingAnimation());
        QTRY_COMPARE(notch->state(), NotchState::expanded);
        QVERIFY2(reopened >= 245, qPrintable(QString::number(reopened)));
        QVERIFY(notch->stateAnimation() == notch->effectiveConversionAnimation());
        QCOMPARE(seen, (QList<NotchState>{NotchState::hidden, NotchState::expanded}));
        QCOMPARE(notch->window(), window);

        // Skipping: straight to compact with the conversion spring.
        seen.clear();
        notch->_compact(screen(), true);
        QCOMPARE(seen, (QList<NotchState>{NotchState::compact}));

        // Compacting yields to an expand arriving in its pause, in the same window.
        notch->_expand(screen(), true);
        notch->_compact(screen(), false);
        QCOMPARE(notch->state(), NotchState::hidden);
        notch->_expand(screen(), true);
        QTest::qWait(400);
        QCOMPARE(notch->state(), NotchState::expanded);
        QCOMPARE(notch->window(), window);

        // The configuration decides for the plain forms, and its animation replaces the default
        // for its transition only.
        notch->setTransitionConfiguration(
            {.closingAnimation = NotchAnimation::easeIn(0.18), .skipIntermediateHides = true});
        seen.clear();
        notch->compact(screen());
        QCOMPARE(seen, (QList<NotchState>{NotchState::compact}));
        QVERIFY(notch->stateAnimation() == notch->effectiveConversionAnimation());
        notch->hide();
        QVERIFY(notch->stateAnimation() == NotchAnimation::easeIn(0.18));
    }
    void windowIsMeasuredAndRemadePerScreen() {
        auto notch = make();
        notch->compact(screen());
        QPointer<NotchPanel> before = notch->window();
        QVERIFY(notch->effectiveStyle() == NotchStyle::floating());
        QCOMPARE(before->geometry(), QRect(480, 0, 960, 540));
        // A change that measures the same (a work area changing elsewhere) keeps the window and
        // what its views hold.
        before->rootObject()->setProperty("objectName", "kept");
        emit screen()->availableGeometryChanged(screen()->availableGeometry());
        emit screen()->geometryChanged(screen()->geometry());
        QTest::qWait(100);
        QCOMPARE(notch->window(), before.data());
        QCOMPARE(before->rootObject()->objectName(), QString("kept"));

        // One that measures differently takes a fresh window, in the same state: never two panels.
        notch->setScreenMetricsProvider([](QScreen*) { return notchedLaptop(); });
        emit screen()->geometryChanged(screen()->geometry());
        QTRY_VERIFY(notch->window() && notch->window() != before);
        QVERIFY(notch->effectiveStyle() == NotchStyle::notch());
        QCOMPARE(notch->window()->geometry(), QRect(378, 0, 756, 491));
        QCOMPARE(notch->state(), NotchState::compact);
        QTRY_VERIFY(!before);
        QCOMPARE(livePanels(), 1);
        notch->deinitializeWindow();
        QVERIFY(!notch->window());
    }

private:
    std::unique_ptr<NotchSurface> make(NotchHoverBehavior hover = NotchHover::none,
                                       ScreenMetrics metrics = plainMonitor()) {
        auto surface =
            std::make_unique<NotchSurface>(hover, NotchStyle::automatic(), NotchContent());
        surface->setScreenMetricsProvider([metrics](QScreen*) { return metrics; });
        surface->setHapticPerformer(&m_haptics);
        return surface;
    }
    QScreen* screen() const { return QGuiApplication::primaryScreen(); }
    CountingHaptics m_haptics;
};

QTEST_MAIN(TestNotchSurface)
#include "tst_notchsurface.moc"
