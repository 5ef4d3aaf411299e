// SPDX-License-Identifier: MIT
#pragma once

#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/HUDState.h"
#include "HUD/VolumeMonitor.h"
#include "Notch/Clock.h"
#include "Notch/NotchHandle.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>

class SessionStore;
class SystemHUDSuppressor;

// A tap handed to a view: the view calls trigger(), the owner decides what it does.
class ViewAction : public QObject {
    Q_OBJECT
public:
    ViewAction(std::function<void()> action, QObject* parent) : QObject(parent), m_action(action) {}
    Q_INVOKABLE void trigger() {
        if (m_action)
            m_action();
    }

private:
    std::function<void()> m_action;
};

// Decides what the notch shows at every moment: the session notch (hidden, compact or expanded)
// from the store, taps and hover, and the HUD notch that flashes volume, brightness and battery
// changes in place of the system's indicator. Main thread only.
class NotchController : public QObject {
    Q_OBJECT
public:
    enum class Mode { hidden, compact, expanded };
    Q_ENUM(Mode)

    // Durations, in milliseconds.
    static constexpr int forceExpandedFor = 6000;
    static constexpr int hoverGrace = 250;
    static constexpr int keyFlash = 1800;
    static constexpr int batteryFlash = 2600;

    // Seams; an empty member takes the platform's own.
    struct Environment {
        Clock* clock = nullptr;
        NotchFactory makeNotch;
        SystemHUDSuppressor* suppressor = nullptr;
        std::unique_ptr<VolumeMonitor> volume;
        std::unique_ptr<BrightnessMonitor> brightness;
        std::unique_ptr<BatteryMonitor> battery;
    };

    explicit NotchController(SessionStore* sessions, QObject* parent = nullptr);
    NotchController(SessionStore* sessions, Environment env, QObject* parent = nullptr);
    ~NotchController() override;

    // Makes both notches, starts the monitors and the key tap, follows the store; once.
    void start();

    // A tap on the compact notch: open for 6 s, each tap restarting the wait.
    void expandOnDemand();
    void handleHoverChange(bool hovering);
    // Shows the HUD for `durationMs` after the latest call, unless a prompt waits or the notch
    // was just opened on purpose.
    void flashKind(HUDKind kind, int durationMs);
    void sync();

    SessionStore* sessions() const { return m_sessions; }
    VolumeMonitor* volume() const { return m_volume.get(); }
    BrightnessMonitor* brightness() const { return m_brightness.get(); }
    BatteryMonitor* battery() const { return m_battery.get(); }
    HUDState* hud() const { return m_hud.get(); }
    NotchHandle* notch() const { return m_notch.get(); }
    NotchHandle* hudNotch() const { return m_hudNotch.get(); }
    Mode currentMode() const { return m_currentMode; }
    bool forceExpanded() const { return m_forceExpanded; }
    bool hoverActive() const { return m_hoverActive; }
    Mode desiredMode() const;

    // How the two notches are made: their views, hover behaviour and transitions.
    NotchSetup sessionNotchSetup();
    NotchSetup hudNotchSetup() const;

signals:
    // A secondary click on either notch; the shell opens its menu there when no tray holds it.
    void contextMenuRequested(QPoint globalPosition);

private:
    void observeLoop();
    void observed();
    void wireHUDSuppressor();
    void apply(Mode mode);
    void endFlash();
    void endFlashNow();

    SessionStore* m_sessions;
    Clock& m_clock;
    NotchFactory m_makeNotch;
    SystemHUDSuppressor& m_suppressor;
    std::unique_ptr<VolumeMonitor> m_volume;
    std::unique_ptr<BrightnessMonitor> m_brightness;
    std::unique_ptr<BatteryMonitor> m_battery;
    std::unique_ptr<HUDState> m_hud;
    std::unique_ptr<NotchHandle> m_notch;
    std::unique_ptr<NotchHandle> m_hudNotch;
    Mode m_currentMode = Mode::hidden;
    bool m_forceExpanded = false;
    bool m_hoverActive = false;
    std::unique_ptr<Clock::Timer> m_forceCollapseTask;
    std::unique_ptr<Clock::Timer> m_hoverCollapseTask;
    std::unique_ptr<Clock::Timer> m_hudHideTask;
    std::optional<bool> m_lastHover;
    size_t m_lastJustFinishedCount = 0;
    bool m_observationArmed = false;
    bool m_started = false;
    // Counts flashes, so a HUD hide that a newer flash overtook does not end that flash.
    quint64 m_flashGeneration = 0;
    bool m_hudHiding = false;
};
