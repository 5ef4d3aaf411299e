// SPDX-License-Identifier: MIT
#pragma once

#include "HUD/BatteryRules.h"
#include "Platform/PowerSource.h"

#include <QObject>

#include <functional>
#include <memory>

// Keeps the battery level and charging state, and raises one-shot events when the cable is
// plugged in or pulled out and when the level falls through a low-battery threshold. Main thread.
class BatteryMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(int percentage READ percentage NOTIFY percentageChanged)
    Q_PROPERTY(bool isCharging READ isCharging NOTIFY isChargingChanged)
    Q_PROPERTY(bool isPluggedIn READ isPluggedIn NOTIFY isPluggedInChanged)
public:
    using Event = BatteryRules::Event;

    explicit BatteryMonitor(QObject* parent = nullptr);
    explicit BatteryMonitor(std::unique_ptr<PowerSource> source, QObject* parent = nullptr);
    ~BatteryMonitor() override;

    int percentage() const { return m_percentage; }
    bool isCharging() const { return m_isCharging; }
    bool isPluggedIn() const { return m_isPluggedIn; }
    const BatteryRules::Memory& memory() const { return m_memory; }

    // Event sink; set before start().
    std::function<void(const Event&)> onEvent;

    // Takes the first reading as the initial state, then follows the system's notifications.
    void start();
    // A reading is taken as the initial state also when it is the first since the power source
    // (re)appeared: what happened while it was gone raises no event.
    void refresh(bool initial);

signals:
    void percentageChanged();
    void isChargingChanged();
    void isPluggedInChanged();

private:
    std::unique_ptr<PowerSource> m_source;
    int m_percentage = 100;
    bool m_isCharging = false;
    bool m_isPluggedIn = false;
    bool m_started = false;
    bool m_haveStartingState = false;
    BatteryRules::Memory m_memory;
};
