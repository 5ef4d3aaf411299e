// SPDX-License-Identifier: MIT
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
    void init();
    void cleanup();
    void showingMakesAWindowAndReturnsAfterTheSpring();
    void showingTheSameStateAgainReturnsAtOnce();
    void hideRemovesTheWindowAfterPauseAndFade();
    void showDuringAHideKeepsTheWindow();
    void hideWaitsForThePointerToLeaveWithKeepVisible();
    void hoverIsIgnoredWhileHiddenAndTapsOncePerChange();
    void conversionsMorphOrCloseInBetween();
    void compactingYieldsToAShowDuringItsPause();
    void animationsComeFromStyleAndConfiguration();
    void windowIsMeasuredAndPlacedPerScreen();
    void screenChangesRemakeTheWindowOnThePrimaryScreen();

private:
    std::unique_ptr<NotchSurface> make(NotchHoverBehavior hover, NotchStyle style,
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

void TestNotchSurface::init() {
    m_haptics.taps = 0;
}

void TestNotchSurface::cleanup() {
    QTRY_COMPARE(livePanels(), 0);
}

void TestNotchSurface::showingMakesAWindowAndReturnsAfterTheSpring() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    QVERIFY(!notch->window());
    QCOMPARE(notch->state(), NotchState::hidden);
    bool done = false;
    notch->expand(screen(), [&] { done = true; });
    // The state changes at once; the caller resumes only after the 0.4 s settle.
    QCOMPARE(notch->state(), NotchState::expanded);
    QVERIFY(notch->window());
    QVERIFY(notch->window()->isVisible());
    QVERIFY(!done);
    QTest::qWait(200);
    QVERIFY(!done);
    QTRY_VERIFY(done);
    QTRY_COMPARE(notch->window()->opacity(), 1.0);
}

void TestNotchSurface::showingTheSameStateAgainReturnsAtOnce() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    bool first = false;
    notch->compact(screen(), [&] { first = true; });
    QTRY_VERIFY(first);
    NotchPanel* window = notch->window();
    bool again = false;
    notch->compact(screen(), [&] { again = true; });
    QVERIFY(again);
    QCOMPARE(notch->window(), window);
}

void TestNotchSurface::hideRemovesTheWindowAfterPauseAndFade() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    notch->expand(screen());
    QPointer<NotchPanel> window = notch->window();
    bool hidden = false;
    notch->hide([&] { hidden = true; });
    QCOMPARE(notch->state(), NotchState::hidden);
    // The window outlives the closing spring: 0.25 s pause, then a 0.15 s fade.
    QVERIFY(notch->window());
    QVERIFY(notch->hasPendingClose());
    QTest::qWait(150);
    QVERIFY(notch->window());
    QVERIFY(!hidden);
    QTRY_VERIFY(hidden);
    QVERIFY(!notch->window());
    QVERIFY(!notch->hasPendingClose());
    QTRY_VERIFY(!window);

    // Hiding a hidden notch finishes at once.
    bool again = false;
    notch->hide([&] { again = true; });
    QVERIFY(again);
}

void TestNotchSurface::showDuringAHideKeepsTheWindow() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    notch->expand(screen());
    QPointer<NotchPanel> window = notch->window();
    bool hidden = false;
    notch->hide([&] { hidden = true; });
    // 0.1 s later; a timer, so that it comes before the close's own 0.25 s timer however
    // late the event loop runs.
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
    QTest::qWait(800);
    QVERIFY(!hidden);
    QVERIFY(notch->window());
    QVERIFY(notch->window()->isVisible());
    QTRY_COMPARE(notch->window()->opacity(), 1.0);
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
    QTest::qWait(600);
    QCOMPARE(notch->window(), window.data());
    QCOMPARE(notch->state(), NotchState::compact);
    QTRY_COMPARE(notch->window()->opacity(), 1.0);
}

void TestNotchSurface::hideWaitsForThePointerToLeaveWithKeepVisible() {
    auto notch = make(NotchHoverOption::keepVisible, NotchStyle::automatic());
    notch->expand(screen());
    notch->updateHoverState(true);
    int hides = 0;
    notch->hide([&] { ++hides; });
    notch->hide([&] { ++hides; });
    QTest::qWait(500);
    QCOMPARE(notch->state(), NotchState::expanded);
    QVERIFY(notch->window());
    QVERIFY(!notch->hasPendingClose());
    notch->updateHoverState(false);
    QTRY_COMPARE(notch->state(), NotchState::hidden);
    QTRY_COMPARE(hides, 2);
    QVERIFY(!notch->window());

    // A show while a hide is held ends that hide: its waiter resumes at once, and the pointer
    // leaving later takes nothing away.
    for (const NotchState next : {NotchState::compact, NotchState::expanded}) {
        notch->_expand(screen(), true);
        notch->updateHoverState(true);
        bool held = false;
        notch->hide([&] { held = true; });
        QTest::qWait(250);
        QVERIFY(!held);
        if (next == NotchState::compact)
            notch->compact(screen());
        else
            notch->expand(screen());
        QVERIFY(held);
        notch->updateHoverState(false);
        QTest::qWait(300);
        QCOMPARE(notch->state(), next);
        QVERIFY(notch->window());
    }

    // Without keepVisible the pointer holds nothing back, and hiding forgets the hover.
    auto plain = make(NotchHover::none, NotchStyle::automatic());
    plain->expand(screen());
    plain->updateHoverState(true);
    QVERIFY(plain->isHovering());
    plain->hide();
    QCOMPARE(plain->state(), NotchState::hidden);
    QVERIFY(!plain->isHovering());
}

void TestNotchSurface::hoverIsIgnoredWhileHiddenAndTapsOncePerChange() {
    auto notch = make(NotchHoverOption::hapticFeedback, NotchStyle::automatic());
    QSignalSpy hovering(notch.get(), &NotchSurface::isHoveringChanged);
    notch->updateHoverState(true);
    QVERIFY(!notch->isHovering());
    QCOMPARE(m_haptics.taps, 0);

    notch->compact(screen());
    notch->updateHoverState(true);
    notch->updateHoverState(true);
    QVERIFY(notch->isHovering());
    QCOMPARE(m_haptics.taps, 1);
    notch->updateHoverState(false);
    notch->updateHoverState(false);
    QCOMPARE(m_haptics.taps, 2);
    QCOMPARE(hovering.count(), 2);

    auto quiet = make(NotchHoverOption::keepVisible, NotchStyle::automatic());
    quiet->compact(screen());
    quiet->updateHoverState(true);
    quiet->updateHoverState(false);
    QCOMPARE(m_haptics.taps, 2);
}

void TestNotchSurface::conversionsMorphOrCloseInBetween() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    bool ready = false;
    notch->compact(screen(), [&] { ready = true; });
    QTRY_VERIFY(ready);
    NotchPanel* window = notch->window();
    QVERIFY(!window->isKeyable());

    // Without skipping: close, pause 0.25 s, reopen in the new form, same window.
    QList<NotchState> seen;
    connect(notch.get(), &NotchSurface::stateChanged, this, [&] { seen << notch->state(); });
    bool expanded = false;
    notch->_expand(screen(), false, [&] { expanded = true; });
    QCOMPARE(notch->state(), NotchState::hidden);
    QVERIFY(notch->stateAnimation() == notch->effectiveClosingAnimation());
    QTRY_COMPARE(notch->state(), NotchState::expanded);
    QVERIFY(notch->stateAnimation() == notch->effectiveConversionAnimation());
    QCOMPARE(seen, (QList<NotchState>{NotchState::hidden, NotchState::expanded}));
    QCOMPARE(notch->window(), window);
    // Expanded it may become key, but only a click makes it so: it never takes focus itself.
    QVERIFY(window->isKeyable());
    QVERIFY(!window->isKey());
    QVERIFY(window->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    QTRY_VERIFY(expanded);

    // Skipping: straight to compact with the conversion spring.
    seen.clear();
    notch->_compact(screen(), true);
    QCOMPARE(seen, (QList<NotchState>{NotchState::compact}));
    QVERIFY(notch->stateAnimation() == notch->effectiveConversionAnimation());
    QCOMPARE(notch->window(), window);
    QVERIFY(!window->isKeyable());

    // The configuration's flag decides for the plain forms.
    notch->setTransitionConfiguration({.skipIntermediateHides = true});
    seen.clear();
    notch->expand(screen());
    QCOMPARE(seen, (QList<NotchState>{NotchState::expanded}));
}

void TestNotchSurface::compactingYieldsToAShowDuringItsPause() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    notch->expand(screen());
    QPointer<NotchPanel> window = notch->window();
    notch->_compact(screen(), false);
    QCOMPARE(notch->state(), NotchState::hidden);
    // An expand arriving in the pause wins over the pending compact, in the same window.
    notch->_expand(screen(), true);
    QCOMPARE(notch->state(), NotchState::expanded);
    QTest::qWait(600);
    QCOMPARE(notch->state(), NotchState::expanded);
    QCOMPARE(notch->window(), window.data());
    QCOMPARE(livePanels(), 1);
}

void TestNotchSurface::animationsComeFromStyleAndConfiguration() {
    auto notchStyled = make(NotchHover::none, NotchStyle::notch());
    auto automatic = make(NotchHover::none, NotchStyle::automatic(), notchedLaptop());
    auto floating = make(NotchHover::none, NotchStyle::floating());
    QCOMPARE(notchStyled->effectiveOpeningAnimation().dampingFraction(), 0.7);
    // Chosen from the configured style: automatic opens softly even on a notched screen.
    automatic->expand(screen());
    QVERIFY(automatic->effectiveStyle() == NotchStyle::notch());
    QCOMPARE(automatic->effectiveOpeningAnimation().dampingFraction(), 0.85);
    QVERIFY(automatic->stateAnimation() == automatic->effectiveOpeningAnimation());
    QCOMPARE(floating->effectiveOpeningAnimation().dampingFraction(), 0.85);
    for (auto* n : {notchStyled.get(), automatic.get(), floating.get()}) {
        QCOMPARE(n->effectiveOpeningAnimation().response(), 0.4);
        QCOMPARE(n->effectiveClosingAnimation().dampingFraction(), 1.0);
        QCOMPARE(n->effectiveConversionAnimation().dampingFraction(), 0.85);
    }

    // A configured animation replaces the default for its transition only.
    automatic->setTransitionConfiguration(
        {.closingAnimation = NotchAnimation::easeIn(0.18), .skipIntermediateHides = true});
    automatic->hide();
    QVERIFY(automatic->stateAnimation() == NotchAnimation::easeIn(0.18));
    QCOMPARE(automatic->effectiveConversionAnimation().dampingFraction(), 0.85);
}

void TestNotchSurface::windowIsMeasuredAndPlacedPerScreen() {
    auto notch = make(NotchHover::none, NotchStyle::automatic(), notchedLaptop());
    notch->compact(screen());
    QCOMPARE(notch->notchSize(), QSizeF(312, 37));
    QCOMPARE(notch->menubarHeight(), 37.0);
    QVERIFY(notch->effectiveStyle() == NotchStyle::notch());
    QCOMPARE(notch->window()->geometry(), QRect(378, 0, 756, 491));
    QVERIFY(notch->window()->flags().testFlag(Qt::FramelessWindowHint));
    QVERIFY(notch->window()->flags().testFlag(Qt::WindowStaysOnTopHint));

    // A fresh window replaces the old one: never two panels for one notch.
    QPointer<NotchPanel> first = notch->window();
    notch->setScreenMetricsProvider([](QScreen*) { return plainMonitor(); });
    notch->initializeWindow(screen(), true);
    QVERIFY(notch->window() != first);
    QTRY_VERIFY(!first);
    QCOMPARE(livePanels(), 1);
    QCOMPARE(notch->notchSize(), QSizeF(300, 25));
    QVERIFY(notch->effectiveStyle() == NotchStyle::floating());
    QCOMPARE(notch->window()->geometry(), QRect(480, 0, 960, 540));
    notch->deinitializeWindow();
    QVERIFY(!notch->window());
}

void TestNotchSurface::screenChangesRemakeTheWindowOnThePrimaryScreen() {
    auto notch = make(NotchHover::none, NotchStyle::automatic());
    // Hidden with no window: nothing to remake.
    emit screen()->availableGeometryChanged(screen()->availableGeometry());
    QTest::qWait(50);
    QVERIFY(!notch->window());

    notch->compact(screen());
    QPointer<NotchPanel> before = notch->window();
    QVERIFY(notch->effectiveStyle() == NotchStyle::floating());
    // A change that measures the same (a work area changing elsewhere) keeps the window and
    // what its views hold.
    before->rootObject()->setProperty("objectName", "kept");
    emit screen()->availableGeometryChanged(screen()->availableGeometry());
    emit screen()->geometryChanged(screen()->geometry());
    QTest::qWait(100);
    QCOMPARE(notch->window(), before.data());
    QCOMPARE(before->rootObject()->objectName(), QString("kept"));
    notch->setScreenMetricsProvider([](QScreen*) { return notchedLaptop(); });
    emit screen()->geometryChanged(screen()->geometry());
    emit screen()->availableGeometryChanged(screen()->availableGeometry());
    QTRY_VERIFY(notch->window() && notch->window() != before);
    QVERIFY(notch->effectiveStyle() == NotchStyle::notch());
    QCOMPARE(notch->notchSize(), QSizeF(312, 37));
    QVERIFY(notch->window()->isVisible());
    QCOMPARE(notch->state(), NotchState::compact);
    QTRY_VERIFY(!before);
    QCOMPARE(livePanels(), 1);
}

QTEST_MAIN(TestNotchSurface)
#include "tst_notchsurface.moc"
