// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <memory>
#include <optional>

// The machine's default audio output device. Volumes are scalars, 1 being full (100%); a device
// amplified beyond that reads above 1. No call waits on an audio server: where the system answers
// asynchronously, reads give what it last reported (absent until it first has) and writes are
// sent without waiting. Signals arrive on the thread that created the object, whatever thread the
// system reports on.
class AudioOutput : public QObject {
    Q_OBJECT
public:
    // 0 means no device.
    using DeviceId = quint32;

    using QObject::QObject;

    virtual std::optional<DeviceId> defaultDevice() = 0;
    // The device's overall volume; absent when the device has none.
    virtual std::optional<float> mainVolume(DeviceId device) = 0;
    // The volume of the device's first channel, for devices without an overall volume.
    virtual std::optional<float> firstChannelVolume(DeviceId device) = 0;
    virtual std::optional<bool> isMuted(DeviceId device) = 0;
    // True when the change was handed to the system.
    virtual bool setMainVolume(DeviceId device, float value) = 0;
    virtual bool setMuted(DeviceId device, bool muted) = 0;
    // From now on valuesChanged() reports changes of this device (in addition to earlier ones).
    virtual void watch(DeviceId device) = 0;

signals:
    void valuesChanged();
    void defaultDeviceChanged();
};

std::unique_ptr<AudioOutput> makeAudioOutput();
