// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Backlight.h"

#include <QObject>
#include <QTimer>

#include <memory>

class SystemHUDSuppressor;

// Mirrors the main display's brightness, notices changes made by anyone by polling, and performs
// the changes the brightness keys ask for. Main thread only.
class BrightnessMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(float brightness READ brightness NOTIFY brightnessChanged)
public:
    static constexpr float step = 0.0625f;
    // Differences up to this are sensor noise, not a change.
    static constexpr float noiseFloor = 0.005f;
    static constexpr int pollIntervalMs = 50;

    explicit BrightnessMonitor(QObject* parent = nullptr);
    BrightnessMonitor(std::unique_ptr<Backlight> backlight, SystemHUDSuppressor* suppressor,
                      QObject* parent = nullptr);
    ~BrightnessMonitor() override;

    float brightness() const { return m_brightness; }
    // Brightness seen at the previous poll; -1 before the first.
    float last() const { return m_last; }
    bool running() const { return m_running; }

    void refresh();
    // Starts polling and takes over the brightness keys; once.
    void start();
    // Clamps to 0..1, writes it, and remembers it so the next poll does not take it as external.
    void setValue(float value);
    void checkChange();

signals:
    void brightnessChanged();

private:
    float read() const;
    void assignBrightness(float value);

    std::unique_ptr<Backlight> m_backlight;
    SystemHUDSuppressor* m_suppressor;
    float m_brightness = 0.5f;
    QTimer m_timer;
    float m_last = -1.0f;
    bool m_running = false;
};
