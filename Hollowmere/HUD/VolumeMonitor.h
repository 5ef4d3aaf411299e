// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/AudioOutput.h"

#include <QObject>

#include <memory>

class SystemHUDSuppressor;

// Mirrors the default output device's volume and mute state, follows the default device, and
// performs the changes the volume keys ask for. Main thread only. The mirror follows the
// system's reports from creation on, which may arrive after the constructor returns.
class VolumeMonitor : public QObject {
    Q_OBJECT
    // 0..1, above 1 while the device is amplified beyond full.
    Q_PROPERTY(float volume READ volume NOTIFY volumeChanged)
    Q_PROPERTY(bool isMuted READ isMuted NOTIFY isMutedChanged)
    Q_PROPERTY(quint32 deviceID READ deviceID NOTIFY deviceIDChanged)
public:
    static constexpr float step = 0.0625f;

    // The platform's output and the application's suppressor.
    explicit VolumeMonitor(QObject* parent = nullptr);
    VolumeMonitor(std::unique_ptr<AudioOutput> output, SystemHUDSuppressor* suppressor,
                  QObject* parent = nullptr);
    ~VolumeMonitor() override;

    float volume() const { return m_volume; }
    bool isMuted() const { return m_isMuted; }
    AudioOutput::DeviceId deviceID() const { return m_deviceID; }
    bool running() const { return m_running; }

    // Listens for changes and takes over the volume keys; once.
    void start();
    // Writes a volume, clamped to 0..1, or up to the current level when the device is amplified
    // beyond full (so volume up never lowers it); the mirrored value follows from the system's
    // report.
    void set(float value);
    void toggleMute();
    void setupDevice();
    void updateFromSystem();

signals:
    void volumeChanged();
    void isMutedChanged();
    void deviceIDChanged();

private:
    void addListeners();
    void rebind();

    std::unique_ptr<AudioOutput> m_output;
    SystemHUDSuppressor* m_suppressor;
    float m_volume = 0.0f;
    bool m_isMuted = false;
    AudioOutput::DeviceId m_deviceID = 0;
    bool m_running = false;
};
