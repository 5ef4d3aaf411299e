// SPDX-License-Identifier: MIT
#include "HUD/BatteryMonitor.h"

BatteryMonitor::BatteryMonitor(QObject* parent) : BatteryMonitor(makePowerSource(), parent) {}

BatteryMonitor::BatteryMonitor(std::unique_ptr<PowerSource> source, QObject* parent)
    : QObject(parent), m_source(std::move(source)) {}

BatteryMonitor::~BatteryMonitor() = default;

void BatteryMonitor::start() {
    if (m_started)
        return;
    m_started = true;
    refresh(true);
    connect(m_source.get(), &PowerSource::changed, this, [this] { refresh(false); });
    connect(m_source.get(), &PowerSource::restarted, this, [this] {
        m_haveStartingState = false;
        refresh(false);
    });
    m_source->startNotifications();
}

void BatteryMonitor::refresh(bool initial) {
    const auto reading = m_source->read();
    if (!reading)
        return;
    const int level = BatteryRules::level(reading->currentCapacity, reading->maxCapacity);
    const bool plugged = reading->isOnACPower;
    if (level != m_percentage) {
        m_percentage = level;
        emit percentageChanged();
    }
    if (reading->isCharging != m_isCharging) {
        m_isCharging = reading->isCharging;
        emit isChargingChanged();
    }
    if (plugged != m_isPluggedIn) {
        m_isPluggedIn = plugged;
        emit isPluggedInChanged();
    }
    const bool starting = initial || !m_haveStartingState;
    m_haveStartingState = true;
    for (const Event& event : BatteryRules::walk(m_memory, level, plugged, starting)) {
        if (onEvent)
            onEvent(event);
    }
}
