// SPDX-License-Identifier: MIT
#include "HUD/BrightnessMonitor.h"

#include "HUD/SystemHUDSuppressor.h"

#include <QPointer>

#include <algorithm>
#include <cmath>

BrightnessMonitor::BrightnessMonitor(QObject* parent)
    : BrightnessMonitor(makeBacklight(), &SystemHUDSuppressor::shared(), parent) {}

BrightnessMonitor::BrightnessMonitor(std::unique_ptr<Backlight> backlight,
                                     SystemHUDSuppressor* suppressor, QObject* parent)
    : QObject(parent), m_backlight(std::move(backlight)), m_suppressor(suppressor) {
    m_timer.setInterval(pollIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &BrightnessMonitor::checkChange);
    refresh();
}

BrightnessMonitor::~BrightnessMonitor() = default;

float BrightnessMonitor::read() const {
    const auto value = m_backlight ? m_backlight->brightness() : std::nullopt;
    return value.value_or(0.5f);
}

void BrightnessMonitor::assignBrightness(float value) {
    if (value == m_brightness)
        return;
    m_brightness = value;
    emit brightnessChanged();
}

void BrightnessMonitor::refresh() {
    assignBrightness(read());
}

void BrightnessMonitor::start() {
    if (m_running)
        return;
    m_running = true;
    m_timer.start();

    QPointer<BrightnessMonitor> self(this);
    m_suppressor->onBrightnessUp = [self] {
        if (self)
            self->setValue(self->m_brightness + step);
    };
    m_suppressor->onBrightnessDown = [self] {
        if (self)
            self->setValue(self->m_brightness - step);
    };
}

void BrightnessMonitor::setValue(float value) {
    const float clamped = std::clamp(value, 0.0f, 1.0f);
    if (m_backlight)
        m_backlight->setBrightness(clamped);
    m_last = clamped;
    assignBrightness(clamped);
}

void BrightnessMonitor::checkChange() {
    const float current = read();
    if (std::fabs(current - m_last) <= noiseFloor)
        return;
    m_last = current;
    assignBrightness(current);
}
