// SPDX-License-Identifier: MIT
#pragma once

#include "NotchContent.h"
#include "NotchHoverBehavior.h"
#include "NotchScreen.h"
#include "NotchStyle.h"
#include "NotchTransitionConfiguration.h"

#include <QObject>
#include <QPoint>

#include <functional>
#include <memory>

class NotchSurface;
class QScreen;

// How the controller wants one of its notches made.
struct NotchSetup {
    enum class Role { session, hud };
    Role role = Role::session;
    NotchHoverBehavior hoverBehavior;
    NotchStyle style;
    NotchTransitionConfiguration transitions;
    NotchContent expanded;
    NotchContent compactLeading;
    NotchContent compactTrailing;
};

// What the controller does with a notch: a NotchSurface on the primary screen in the app, a
// recorder in tests.
class NotchHandle : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void expand() = 0;
    virtual void compact() = 0;
    // `done` runs once the notch is gone; it may never run when a later show abandons the hide.
    virtual void hide(std::function<void()> done = {}) = 0;
    virtual bool isHovering() const = 0;
    // The real surface behind the handle, if there is one.
    virtual NotchSurface* surface() const { return nullptr; }

signals:
    void hoveringChanged(bool hovering);
    void contextMenuRequested(QPoint globalPosition);
};

using NotchFactory = std::function<std::unique_ptr<NotchHandle>(const NotchSetup&)>;

// Makes a NotchSurface as set up, shown on the primary screen, with views drawn by NotchKit's
// shared engine (which learns to draw system symbols). `metrics` replaces the screen's own
// measurements, for pictures of a notched screen.
std::unique_ptr<NotchHandle> makeSurfaceNotch(const NotchSetup& setup,
                                              std::function<ScreenMetrics(QScreen*)> metrics = {});
