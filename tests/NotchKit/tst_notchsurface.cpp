// SPDX-License-Identifier: MIT
// The notch surface over real timers and windows: when callers resume, how long a closing window
// stays, and what a show arriving meanwhile keeps. Times are only ever checked from below: a busy
// machine makes timers late, never early.
#include <QtTest>

#include "NotchPanel.h"
#include "NotchSurface.h"
#include "Platform/Haptics.h"

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
    void cleanup();
    void showResumesAfterTheSpringAndHideWaitsPauseAndFade();
    void showDuringAHideKeepsTheWindow();
    void hideWaitsForThePointerToLeaveWithKeepVisible();
    void hoverIsIgnoredWhileHiddenAndTapsOncePerChange();
    void conversionsMorphOrCloseInBetween();
    void animationsComeFromStyleAndConfiguration();
    void windowIsMeasuredAndRemadePerScreen();

private:
    std::unique_ptr<NotchSurface> make(NotchHoverBehavior hover = NotchHover::none,
                                       NotchStyle style = NotchStyle::automatic(),
                                       ScreenMetrics metrics = plainMonitor());
    QScreen* screen() const { return QGuiApplication::primaryScreen(); }
    CountingHaptics m_haptics;
};

std::unique_ptr<NotchSurface> TestNotchSurface::make(NotchHoverBehavior hover, NotchStyle style,
                                                     ScreenMetrics metrics) {
    auto surface = std::make_unique<NotchSurface>(hover, style, NotchContent());
    surface->setScreenMetricsProvider([metrics](QScreen*) { return metrics; });
    surface->setHapticPerformer(&m_haptics);
    return surface;
}

void TestNotchSurface::cleanup() {
    m_haptics.taps = 0;
    QTRY_COMPARE(livePanels(), 0);
}

void TestNotchSurface::showResumesAfterTheSpringAndHideWaitsPauseAndFade() {
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
    // The same state again resumes at once, in the same window.
    bool again = false;
    notch->expand(screen(), [&] { again = true; });
    QVERIFY(again);
    QCOMPARE(notch->window(), window.data());

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
    QVERIFY2(fades >= 245 && hidden > fades, qPrintable(QString("%1, %2").arg(fades).arg(hidden)));
    QVERIFY(!notch->window() && !notch->hasPendingClose());
    QTRY_VERIFY(!window);
    // Hiding a hidden notch finishes at once.
    again = false;
    notch->hide([&] { again = true; });
    QVERIFY(again);
}

void TestNotchSurface::showDuringAHideKeepsTheWindow() {
    auto notch = make();
    notch->expand(screen());
    QPointer<NotchPanel> window = notch->window();
    bool hidden = false;
    notch->hide([&] { hidden = true; });
    // 0.1 s later; a timer, so that it comes before the close's own timer however late the event
    // loop runs.
    bool shown = false;
    QTimer::singleShot(100, notch.get(), [&] {
        notch->expand(screen());
        shown = true;
    });
    QTRY_VERIFY(shown);
    QCOMPARE(notch->state(), NotchState::expanded);
    QCOMPARE(notch->window(), window.data());
    QVERIFY(!notch->hasPendingClose());
    // Long past the abandoned close: the window is still up and opaque.
    QTest::qWait(500);
    QVERIFY(!hidden);
    QVERIFY(window && window->isVisible());
    QTRY_COMPARE(window->opacity(), 1.0);
    QCOMPARE(livePanels(), 1);

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
    QCOMPARE(notch->state(), NotchState::compact);
    QTRY_COMPARE(window->opacity(), 1.0);
}

void TestNotchSurface::hideWaitsForThePointerToLeaveWithKeepVisible() {
    auto notch = make(NotchHoverOption::keepVisible);
    notch->expand(screen());
    notch->updateHoverState(true);
    int hides = 0;
    notch->hide([&] { ++hides; });
    notch->hide([&] { ++hides; });
    QTest::qWait(500);
    QCOMPARE(notch->state(), NotchState::expanded);
    QVERIFY(notch->window() && !notch->hasPendingClose());
    notch->updateHoverState(false);
    QTRY_COMPARE(hides, 2);
    QCOMPARE(notch->state(), NotchState::hidden);
    QVERIFY(!notch->window());

    // A show while a hide is held ends that hide: its waiter resumes at once, and the pointer
    // leaving later takes nothing away.
    notch->expand(screen());
    notch->updateHoverState(true);
    bool held = false;
    notch->hide([&] { held = true; });
    QTest::qWait(250);
    QVERIFY(!held);
    notch->_compact(screen(), true);
    QVERIFY(held);
    notch->updateHoverState(false);
    QTest::qWait(250);
    QCOMPARE(notch->state(), NotchState::compact);

    // Without keepVisible the pointer holds nothing back, and hiding forgets the hover.
    auto plain = make();
    plain->expand(screen());
    plain->updateHoverState(true);
    QVERIFY(plain->isHovering());
    plain->hide();
    QCOMPARE(plain->state(), NotchState::hidden);
    QVERIFY(!plain->isHovering());
}

void TestNotchSurface::hoverIsIgnoredWhileHiddenAndTapsOncePerChange() {
    auto notch = make(NotchHoverOption::hapticFeedback);
    QSignalSpy hovering(notch.get(), &NotchSurface::isHoveringChanged);
    notch->updateHoverState(true);
    QVERIFY(!notch->isHovering());
    notch->compact(screen());
    for (const bool over : {true, true, false, false})
        notch->updateHoverState(over);
    QCOMPARE(m_haptics.taps, 2);
    QCOMPARE(hovering.count(), 2);

    auto quiet = make(NotchHoverOption::keepVisible);
    quiet->compact(screen());
    quiet->updateHoverState(true);
    QVERIFY(quiet->isHovering());
    QCOMPARE(m_haptics.taps, 2);
}

void TestNotchSurface::conversionsMorphOrCloseInBetween() {
    auto notch = make();
    bool ready = false;
    notch->compact(screen(), [&] { ready = true; });
    QTRY_VERIFY(ready);
    NotchPanel* window = notch->window();
    QVERIFY(!window->isKeyable());

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
    // Expanded it may become key, but only a click makes it so: it never takes focus itself.
    QVERIFY(window->isKeyable() && !window->isKey());
    QVERIFY(window->flags().testFlag(Qt::WindowDoesNotAcceptFocus));

    // Skipping: straight to compact with the conversion spring.
    seen.clear();
    notch->_compact(screen(), true);
    QCOMPARE(seen, (QList<NotchState>{NotchState::compact}));
    QVERIFY(notch->stateAnimation() == notch->effectiveConversionAnimation());
    QVERIFY(!window->isKeyable());

    // Compacting yields to an expand arriving in its pause, in the same window.
    notch->_expand(screen(), true);
    notch->_compact(screen(), false);
    QCOMPARE(notch->state(), NotchState::hidden);
    notch->_expand(screen(), true);
    QTest::qWait(400);
    QCOMPARE(notch->state(), NotchState::expanded);
    QCOMPARE(notch->window(), window);
    QCOMPARE(livePanels(), 1);

    // The configuration's flag decides for the plain forms.
    notch->setTransitionConfiguration({.skipIntermediateHides = true});
    seen.clear();
    notch->compact(screen());
    QCOMPARE(seen, (QList<NotchState>{NotchState::compact}));
}

void TestNotchSurface::animationsComeFromStyleAndConfiguration() {
    // Chosen from the configured style: a notch opens with a bounce, automatic softly even where
    // it resolves to the notch style.
    QVERIFY(make(NotchHover::none, NotchStyle::notch())->effectiveOpeningAnimation() ==
            NotchAnimation::spring(0.4, 0.7));
    auto automatic = make(NotchHover::none, NotchStyle::automatic(), notchedLaptop());
    automatic->expand(screen());
    QVERIFY(automatic->effectiveStyle() == NotchStyle::notch());
    QVERIFY(automatic->stateAnimation() == NotchAnimation::spring(0.4, 0.85));

    // A configured animation replaces the default for its transition only.
    automatic->setTransitionConfiguration(
        {.closingAnimation = NotchAnimation::easeIn(0.18), .skipIntermediateHides = true});
    automatic->hide();
    QVERIFY(automatic->stateAnimation() == NotchAnimation::easeIn(0.18));
    QVERIFY(automatic->effectiveConversionAnimation() == NotchAnimation::spring(0.4, 0.85));
}

void TestNotchSurface::windowIsMeasuredAndRemadePerScreen() {
    auto notch = make();
    // Hidden with no window: a screen change has nothing to remake.
    emit screen()->availableGeometryChanged(screen()->availableGeometry());
    QTest::qWait(50);
    QVERIFY(!notch->window());

    notch->compact(screen());
    QPointer<NotchPanel> before = notch->window();
    QVERIFY(notch->effectiveStyle() == NotchStyle::floating());
    QCOMPARE(before->geometry(), QRect(480, 0, 960, 540));
    QVERIFY(before->flags().testFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint));
    // A change that measures the same (a work area changing elsewhere) keeps the window and what
    // its views hold.
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
    QVERIFY(notch->window()->isVisible());
    QCOMPARE(notch->state(), NotchState::compact);
    QTRY_VERIFY(!before);
    QCOMPARE(livePanels(), 1);
    notch->deinitializeWindow();
    QVERIFY(!notch->window());
}

QTEST_MAIN(TestNotchSurface)
#include "tst_notchsurface.moc"
