// SPDX-License-Identifier: MIT
#include "NotchSurface.h"

#include "NotchPanel.h"
#include "Platform/Compositor.h"
#include "Platform/Haptics.h"
#include "Platform/ScreenGeometry.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QScreen>
#include <QTimer>
#include <QVariantAnimation>

#include <memory>
#include <vector>

namespace {

// A pending hide held back by the pointer, with everyone waiting for it.
class HeldHide : public QObject {
public:
    using QObject::QObject;
    std::vector<NotchSurface::Completion> waiting;
};

} // namespace

NotchSurface::NotchSurface(NotchHoverBehavior hoverBehavior, NotchStyle style,
                           NotchContent expanded, NotchContent compactLeading,
                           NotchContent compactTrailing, QObject* parent)
    : QObject(parent), m_hoverBehavior(hoverBehavior), m_style(style),
      m_effectiveStyle(style.resolved(false)), m_expanded(std::move(expanded)),
      m_compactLeading(std::move(compactLeading)), m_compactTrailing(std::move(compactTrailing)),
      m_metrics(&ScreenGeometry::metrics), m_haptics(&defaultHapticPerformer()) {
    m_stateAnimation = effectiveClosingAnimation();
    observeScreenParameters();
    connect(&Compositor::shared(), &Compositor::activeChanged, this,
            &NotchSurface::translucentChanged);
}

NotchSurface::~NotchSurface() {
    delete m_window.data();
}

void NotchSurface::expand(QScreen* screen, Completion done) {
    _expand(screen, m_transitions.skipIntermediateHides, std::move(done));
}

void NotchSurface::compact(QScreen* screen, Completion done) {
    _compact(screen, m_transitions.skipIntermediateHides, std::move(done));
}

void NotchSurface::hide(Completion done) {
    _hide(std::move(done));
}

void NotchSurface::_expand(QScreen* screen, bool skipHide, Completion done) {
    show(NotchState::expanded, screen, skipHide, std::move(done));
}

void NotchSurface::_compact(QScreen* screen, bool skipHide, Completion done) {
    show(NotchState::compact, screen, skipHide, std::move(done));
}

void NotchSurface::show(NotchState target, QScreen* screen, bool skipHide, Completion done) {
    // The latest request wins: a hide still waiting for the pointer to leave would otherwise
    // take away a notch shown since.
    endHeldHide();
    if (m_state == target) {
        if (done)
            done();
        return;
    }
    // A hide in progress is abandoned and its window reused, so the window is never removed
    // under a notch that is being shown again; so is a window paused hidden between two forms.
    // Only another screen, or one measured differently, takes a fresh window.
    cancelClosePanelTask();
    const bool freshWindow = measuresDifferently(screen);
    if (m_state != NotchState::hidden && !freshWindow) {
        convertInPlace(target, skipHide);
    } else {
        if (freshWindow)
            initializeWindow(screen, false);
        animateState(effectiveOpeningAnimation(), target);
        showWindow();
    }
    // Callers resume once the spring has settled.
    QTimer::singleShot(returnDelayAfterShowing, this, [done = std::move(done)] {
        if (done)
            done();
    });
}

void NotchSurface::convertInPlace(NotchState target, bool skipHide) {
    if (skipHide) {
        animateState(effectiveConversionAnimation(), target);
        return;
    }
    // Close the content, pause, reopen it in the new form; the window stays.
    animateState(effectiveClosingAnimation(), NotchState::hidden);
    QTimer::singleShot(closeToReopenPause, this, [this, target] {
        // Compacting yields to an expand or hide that arrived during the pause; expanding
        // does not.
        if (target == NotchState::compact && m_state != NotchState::hidden)
            return;
        animateState(effectiveConversionAnimation(), target);
    });
}

void NotchSurface::_hide(Completion done) {
    if (m_state == NotchState::hidden) {
        if (done)
            done();
        return;
    }
    if (m_hoverBehavior.testFlag(NotchHoverOption::keepVisible) && m_isHovering) {
        // Stay up, re-checking until the pointer leaves.
        auto* held = static_cast<HeldHide*>(m_hideRetryTask.data());
        if (!held) {
            held = new HeldHide(this);
            m_hideRetryTask = held;
            QTimer::singleShot(hoverRecheck, held, [this, held] {
                auto waiting = std::move(held->waiting);
                m_hideRetryTask = nullptr;
                held->deleteLater();
                _hide([waiting = std::move(waiting)] {
                    for (const auto& w : waiting)
                        w();
                });
            });
        }
        if (done)
            held->waiting.push_back(std::move(done));
        return;
    }
    animateState(effectiveClosingAnimation(), NotchState::hidden);
    setHovering(false);
    cancelClosePanelTask();
    auto* task = new QObject(this);
    m_closePanelTask = task;
    QTimer::singleShot(closeToReopenPause, task, [this, task, done = std::move(done)] {
        fadeOutWindow(task, [this, task, done] {
            if (m_closePanelTask == task)
                m_closePanelTask = nullptr;
            task->deleteLater();
            deinitializeWindow();
            if (done)
                done();
        });
    });
}

void NotchSurface::cancelClosePanelTask() {
    delete m_closePanelTask.data();
    m_closePanelTask = nullptr;
}

void NotchSurface::endHeldHide() {
    auto* held = static_cast<HeldHide*>(m_hideRetryTask.data());
    if (!held)
        return;
    const auto waiting = std::move(held->waiting);
    m_hideRetryTask = nullptr;
    delete held;
    for (const auto& w : waiting)
        w();
}

void NotchSurface::updateHoverState(bool hovering) {
    if (m_state == NotchState::hidden || hovering == m_isHovering)
        return;
    setHovering(hovering);
    if (m_hoverBehavior.testFlag(NotchHoverOption::hapticFeedback) && m_haptics)
        m_haptics->performAlignmentFeedback();
}

void NotchSurface::requestContextMenu(QPointF scenePosition) {
    if (m_state != NotchState::hidden && m_window)
        emit contextMenuRequested(m_window->mapToGlobal(scenePosition.toPoint()));
}

void NotchSurface::setHovering(bool hovering) {
    if (m_isHovering == hovering)
        return;
    m_isHovering = hovering;
    emit isHoveringChanged();
}

void NotchSurface::animateState(const NotchAnimation& animation, NotchState state) {
    // Views read the animation when the state change reaches them.
    m_stateAnimation = animation;
    if (m_state == state)
        return;
    m_state = state;
    updateKeyable();
    emit stateChanged();
}

void NotchSurface::updateKeyable() {
    if (m_window)
        m_window->setKeyable(m_state == NotchState::expanded);
}

bool NotchSurface::isTranslucent() const {
    return Compositor::shared().isActive();
}

void NotchSurface::setDisableCompactLeading(bool disable) {
    if (m_disableCompactLeading == disable)
        return;
    m_disableCompactLeading = disable;
    emit disableCompactLeadingChanged();
}

void NotchSurface::setDisableCompactTrailing(bool disable) {
    if (m_disableCompactTrailing == disable)
        return;
    m_disableCompactTrailing = disable;
    emit disableCompactTrailingChanged();
}

void NotchSurface::setTransitionConfiguration(const NotchTransitionConfiguration& configuration) {
    m_transitions = configuration;
}

NotchAnimation NotchSurface::effectiveOpeningAnimation() const {
    if (m_transitions.openingAnimation)
        return *m_transitions.openingAnimation;
    // Chosen from the configured style: an automatic notch opens softly even where it
    // resolves to the notch style.
    return NotchAnimation::spring(0.4, m_style.isNotch() ? 0.7 : 0.85);
}

NotchAnimation NotchSurface::effectiveClosingAnimation() const {
    return m_transitions.closingAnimation.value_or(NotchAnimation::spring(0.4, 1.0));
}

NotchAnimation NotchSurface::effectiveConversionAnimation() const {
    return m_transitions.conversionAnimation.value_or(NotchAnimation::spring(0.4, 0.85));
}

void NotchSurface::initializeWindow(QScreen* screen, bool orderFront) {
    if (m_window)
        deinitializeWindow();
    if (!screen)
        return;
    const ScreenMetrics metrics = m_metrics(screen);
    const QSizeF notchSize = NotchScreen::notchFrameWithMenubarAsBackup(metrics).size();
    if (m_notchSize != notchSize) {
        m_notchSize = notchSize;
        emit notchSizeChanged();
    }
    const double menubar = NotchScreen::menubarHeight(metrics);
    if (m_menubarHeight != menubar) {
        m_menubarHeight = menubar;
        emit menubarHeightChanged();
    }
    const NotchStyle effective = m_style.resolved(NotchScreen::hasNotch(metrics));
    if (!(m_effectiveStyle == effective)) {
        m_effectiveStyle = effective;
        emit effectiveStyleChanged();
    }
    m_window =
        new NotchPanel(engine(), this, screen, NotchScreen::panelFrame(metrics).toAlignedRect());
    m_window->setKeyable(m_state == NotchState::expanded);
    if (orderFront)
        m_window->orderFrontRegardless();
    emit windowChanged();
}

void NotchSurface::deinitializeWindow() {
    if (!m_window)
        return;
    NotchPanel* window = m_window;
    m_window = nullptr;
    // Hands the keyboard back while the window can still be seen to hold it.
    window->setKeyable(false);
    window->close();
    window->deleteLater();
    emit windowChanged();
}

void NotchSurface::showWindow() {
    if (!m_window)
        return;
    // A window kept from an abandoned hide fades back from where its fade-out stopped.
    const double from = m_window->isVisible() ? m_window->opacity() : 0.0;
    m_window->setOpacity(from);
    m_window->orderFrontRegardless();
    auto* fade = new QVariantAnimation(m_window);
    fade->setStartValue(from);
    fade->setEndValue(1.0);
    fade->setDuration(windowFade);
    fade->setEasingCurve(NotchAnimation::easeOut(windowFade / 1000.0).easingCurve());
    QPointer<NotchPanel> window = m_window;
    connect(fade, &QVariantAnimation::valueChanged, fade, [window](const QVariant& v) {
        if (window)
            window->setOpacity(v.toDouble());
    });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void NotchSurface::fadeOutWindow(QObject* task, Completion done) {
    if (!m_window) {
        done();
        return;
    }
    // Driven without a target, so a window that disappears mid-fade still ends it.
    auto* fade = new QVariantAnimation(task);
    fade->setStartValue(m_window->opacity());
    fade->setEndValue(0.0);
    fade->setDuration(windowFade);
    fade->setEasingCurve(NotchAnimation::easeIn(windowFade / 1000.0).easingCurve());
    QPointer<NotchPanel> window = m_window;
    connect(fade, &QVariantAnimation::valueChanged, fade, [window](const QVariant& v) {
        if (window)
            window->setOpacity(v.toDouble());
    });
    connect(fade, &QVariantAnimation::finished, task, std::move(done));
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void NotchSurface::observeScreenParameters() {
    // Several signals arrive for one rearrangement; act once, after the last.
    auto* debounce = new QTimer(this);
    debounce->setSingleShot(true);
    debounce->setInterval(0);
    connect(debounce, &QTimer::timeout, this, &NotchSurface::screenParametersChanged);
    auto watch = [this, debounce](QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, debounce, qOverload<>(&QTimer::start));
        connect(screen, &QScreen::availableGeometryChanged, debounce, qOverload<>(&QTimer::start));
    };
    for (QScreen* screen : QGuiApplication::screens())
        watch(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [debounce, watch](QScreen* screen) {
        watch(screen);
        debounce->start();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, debounce, qOverload<>(&QTimer::start));
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, debounce, qOverload<>(&QTimer::start));
}

void NotchSurface::screenParametersChanged() {
    QScreen* primary = QGuiApplication::primaryScreen();
    // Measure again on the primary screen; a hidden notch with no window has nothing to move
    // and gets measured when it is next shown. A window that would come out the same stays,
    // with its views' state (a work area that changed elsewhere, a second screen plugged in).
    if (!primary || !m_window || !measuresDifferently(primary))
        return;
    initializeWindow(primary, true);
}

bool NotchSurface::measuresDifferently(QScreen* screen) const {
    const ScreenMetrics metrics = m_metrics(screen);
    return !m_window || m_window->screen() != screen ||
           m_window->geometry() != NotchScreen::panelFrame(metrics).toAlignedRect() ||
           m_notchSize != NotchScreen::notchFrameWithMenubarAsBackup(metrics).size() ||
           m_menubarHeight != NotchScreen::menubarHeight(metrics) ||
           !(m_effectiveStyle == m_style.resolved(NotchScreen::hasNotch(metrics)));
}

void NotchSurface::setScreenMetricsProvider(std::function<ScreenMetrics(QScreen*)> provider) {
    m_metrics = provider ? std::move(provider) : &ScreenGeometry::metrics;
}

void NotchSurface::setHapticPerformer(HapticPerformer* performer) {
    m_haptics = performer;
}

void NotchSurface::setEngine(QQmlEngine* engine) {
    m_engine = engine;
}

QQmlEngine* NotchSurface::engine() const {
    return m_engine ? m_engine.data() : NotchPanel::sharedEngine();
}
