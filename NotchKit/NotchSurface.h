// SPDX-License-Identifier: MIT
#pragma once

#include "NotchAnimation.h"
#include "NotchContent.h"
#include "NotchHoverBehavior.h"
#include "NotchPanel.h"
#include "NotchScreen.h"
#include "NotchState.h"
#include "NotchStyle.h"
#include "NotchTransitionConfiguration.h"

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSizeF>
#include <QtQml/qqmlregistration.h>

#include <functional>

class HapticPerformer;
class QQmlEngine;
class QScreen;

// A notch on screen: one borderless panel at the top centre of a screen, drawn around the
// camera housing (or floating below the menu bar), moved between hidden, compact and
// expanded with springs and waits that keep rapid changes from tearing the window down.
// Main thread only.
class NotchSurface : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A notch is made by its owner")
    Q_PROPERTY(NotchKit::NotchState state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool isHidden READ isHidden NOTIFY stateChanged)
    Q_PROPERTY(bool isCompact READ isCompact NOTIFY stateChanged)
    Q_PROPERTY(bool isExpanded READ isExpanded NOTIFY stateChanged)
    Q_PROPERTY(bool isHovering READ isHovering NOTIFY isHoveringChanged)
    Q_PROPERTY(QSizeF notchSize READ notchSize NOTIFY notchSizeChanged)
    Q_PROPERTY(double menubarHeight READ menubarHeight NOTIFY menubarHeightChanged)
    // Whether what lies below shows through the panel's transparent parts (a compositing
    // manager runs). Without one the panel is cut to the drawn shape and casts no shadow.
    Q_PROPERTY(bool translucent READ isTranslucent NOTIFY translucentChanged)
    Q_PROPERTY(bool disableCompactLeading READ disableCompactLeading WRITE setDisableCompactLeading
                   NOTIFY disableCompactLeadingChanged)
    Q_PROPERTY(bool disableCompactTrailing READ disableCompactTrailing WRITE
                   setDisableCompactTrailing NOTIFY disableCompactTrailingChanged)
    Q_PROPERTY(NotchStyle style READ style CONSTANT)
    Q_PROPERTY(NotchStyle effectiveStyle READ effectiveStyle NOTIFY effectiveStyleChanged)
    Q_PROPERTY(int hoverBehavior READ hoverBehaviorValue CONSTANT)
    Q_PROPERTY(NotchAnimation stateAnimation READ stateAnimation NOTIFY stateChanged)
    Q_PROPERTY(NotchContent expandedContent READ expandedContent CONSTANT)
    Q_PROPERTY(NotchContent compactLeadingContent READ compactLeadingContent CONSTANT)
    Q_PROPERTY(NotchContent compactTrailingContent READ compactTrailingContent CONSTANT)
public:
    using Completion = std::function<void()>;

    // Waits of the state machine, in milliseconds.
    static constexpr int closeToReopenPause = 250;
    static constexpr int returnDelayAfterShowing = 400;
    static constexpr int windowFade = 150;
    static constexpr int hoverRecheck = 100;

    NotchSurface(NotchHoverBehavior hoverBehavior, NotchStyle style, NotchContent expanded,
                 NotchContent compactLeading = {}, NotchContent compactTrailing = {},
                 QObject* parent = nullptr);
    ~NotchSurface() override;

    // Show expanded (or compact) on `screen`; `done` runs once the spring has settled.
    void expand(QScreen* screen, Completion done = {});
    void compact(QScreen* screen, Completion done = {});
    // Hide; `done` runs once the window is gone (at once when already hidden). A show ends a
    // hide that is still held back by the pointer: the notch stays, and `done` runs at once.
    // A show during the closing pause or fade keeps the window, and `done` never runs.
    void hide(Completion done = {});

    // The forms with an explicit choice between morphing directly (skipHide) and closing
    // in between.
    void _expand(QScreen* screen, bool skipHide, Completion done = {});
    void _compact(QScreen* screen, bool skipHide, Completion done = {});
    void _hide(Completion done = {});

    // The content view reports the pointer entering (true) or leaving (false).
    Q_INVOKABLE void updateHoverState(bool hovering);
    // The content view reports a secondary click at `scenePosition` in the panel.
    Q_INVOKABLE void requestContextMenu(QPointF scenePosition);

    NotchState state() const { return m_state; }
    bool isHidden() const { return m_state == NotchState::hidden; }
    bool isCompact() const { return m_state == NotchState::compact; }
    bool isExpanded() const { return m_state == NotchState::expanded; }
    bool isHovering() const { return m_isHovering; }
    QSizeF notchSize() const { return m_notchSize; }
    double menubarHeight() const { return m_menubarHeight; }
    bool isTranslucent() const;
    bool disableCompactLeading() const { return m_disableCompactLeading; }
    void setDisableCompactLeading(bool disable);
    bool disableCompactTrailing() const { return m_disableCompactTrailing; }
    void setDisableCompactTrailing(bool disable);
    NotchStyle style() const { return m_style; }
    NotchStyle effectiveStyle() const { return m_effectiveStyle; }
    NotchHoverBehavior hoverBehavior() const { return m_hoverBehavior; }
    int hoverBehaviorValue() const { return int(m_hoverBehavior); }
    NotchContent expandedContent() const { return m_expanded; }
    NotchContent compactLeadingContent() const { return m_compactLeading; }
    NotchContent compactTrailingContent() const { return m_compactTrailing; }

    NotchTransitionConfiguration transitionConfiguration() const { return m_transitions; }
    void setTransitionConfiguration(const NotchTransitionConfiguration& configuration);
    NotchAnimation effectiveOpeningAnimation() const;
    NotchAnimation effectiveClosingAnimation() const;
    NotchAnimation effectiveConversionAnimation() const;
    // The animation of the latest change of `state`; views animate that change with it.
    NotchAnimation stateAnimation() const { return m_stateAnimation; }

    // The current panel, or null while there is none.
    NotchPanel* window() const { return m_window; }
    // Whether a delayed close of the window is pending.
    bool hasPendingClose() const { return !m_closePanelTask.isNull(); }

    // Makes a fresh panel on `screen` (closing any previous one) and measures the screen.
    // Screen changes call it only when they change what it measures, so the views keep their
    // state through changes that do not concern the notch.
    void initializeWindow(QScreen* screen, bool orderFront);
    void deinitializeWindow();

    // Seams: the screen measurement, the haptic device and the QML engine (by default the
    // platform's measurement and performer and NotchKit's shared engine).
    void setScreenMetricsProvider(std::function<ScreenMetrics(QScreen*)> provider);
    void setHapticPerformer(HapticPerformer* performer);
    void setEngine(QQmlEngine* engine);
    QQmlEngine* engine() const;

signals:
    void stateChanged();
    void isHoveringChanged();
    void notchSizeChanged();
    void menubarHeightChanged();
    void translucentChanged();
    void disableCompactLeadingChanged();
    void disableCompactTrailingChanged();
    void effectiveStyleChanged();
    void windowChanged();
    // A secondary click on the visible notch, at a position on the screen.
    void contextMenuRequested(QPoint globalPosition);

private:
    void show(NotchState target, QScreen* screen, bool skipHide, Completion done);
    void convertInPlace(NotchState target, bool skipHide);
    void animateState(const NotchAnimation& animation, NotchState state);
    void setHovering(bool hovering);
    void showWindow();
    void fadeOutWindow(QObject* task, Completion done);
    void cancelClosePanelTask();
    void endHeldHide();
    bool measuresDifferently(QScreen* screen) const;
    void observeScreenParameters();
    void screenParametersChanged();
    void updateKeyable();

    NotchHoverBehavior m_hoverBehavior;
    NotchStyle m_style;
    NotchStyle m_effectiveStyle;
    NotchTransitionConfiguration m_transitions;
    NotchContent m_expanded;
    NotchContent m_compactLeading;
    NotchContent m_compactTrailing;
    bool m_disableCompactLeading = false;
    bool m_disableCompactTrailing = false;
    NotchState m_state = NotchState::hidden;
    NotchAnimation m_stateAnimation;
    QSizeF m_notchSize;
    double m_menubarHeight = 0;
    bool m_isHovering = false;

    QPointer<NotchPanel> m_window;
    // Pending delayed close; deleting it cancels every step it still has to run.
    QPointer<QObject> m_closePanelTask;
    // Pending re-check of a hide held back by the pointer.
    QPointer<QObject> m_hideRetryTask;

    std::function<ScreenMetrics(QScreen*)> m_metrics;
    HapticPerformer* m_haptics = nullptr;
    QPointer<QQmlEngine> m_engine;
};
