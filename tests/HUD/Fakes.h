// SPDX-License-Identifier: MIT
#pragma once

#include "HUD/BrightnessMonitor.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Platform/AudioOutput.h"
#include "Platform/Backlight.h"
#include "Platform/MediaKeyTap.h"
#include "Platform/PowerSource.h"

#include <map>
#include <vector>

// In-memory stand-ins for the platform layer, for the monitors' own rules.

struct FakeDevice {
    std::optional<float> main;
    std::optional<float> channel;
    bool muted = false;
};

class FakeAudioOutput : public AudioOutput {
public:
    std::optional<DeviceId> defaultId = DeviceId(0);
    std::map<DeviceId, FakeDevice> devices;
    std::vector<std::pair<DeviceId, float>> volumeWrites;
    std::vector<std::pair<DeviceId, bool>> muteWrites;
    std::vector<DeviceId> watched;

    std::optional<DeviceId> defaultDevice() override { return defaultId; }
    std::optional<float> mainVolume(DeviceId d) override { return devices[d].main; }
    std::optional<float> firstChannelVolume(DeviceId d) override { return devices[d].channel; }
    std::optional<bool> isMuted(DeviceId d) override {
        return devices.count(d) ? std::optional<bool>(devices[d].muted) : std::nullopt;
    }
    bool setMainVolume(DeviceId d, float v) override {
        volumeWrites.emplace_back(d, v);
        return true;
    }
    bool setMuted(DeviceId d, bool m) override {
        muteWrites.emplace_back(d, m);
        return true;
    }
    void watch(DeviceId d) override { watched.push_back(d); }
};

class FakeBacklight : public Backlight {
public:
    std::optional<float> level;
    std::vector<float> writes;
    // A display whose brightness cannot be read or written.
    bool missing = false;
    std::optional<float> brightness() override { return missing ? std::nullopt : level; }
    bool setBrightness(float v) override {
        if (missing)
            return false;
        writes.push_back(v);
        level = v;
        return true;
    }
};

class FakePowerSource : public PowerSource {
public:
    std::optional<PowerSourceReading> reading;
    std::optional<PowerSourceReading> read() override { return reading; }
    bool startNotifications() override { return true; }
    // Changes the reading and notifies, as the system would.
    void set(int current, int max, bool charging, bool ac) {
        reading = PowerSourceReading{current, max, charging, ac};
        emit changed();
    }
};

class FakeMediaKeyTap : public MediaKeyTap {
public:
    int installs = 0;
    bool accept = true;
    Handler handler;
    bool install(Handler h) override {
        ++installs;
        handler = std::move(h);
        return accept;
    }
};

// The keys the monitors listen to, over a fake tap, with trust granted.
struct TrustedKeys : SystemHUDSuppressor {
    TrustedKeys()
        : SystemHUDSuppressor(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; }) {}
};

inline SystemDefinedEvent press(quint32 code) {
    return MediaKeys::auxKeyEvent(code, MediaKeys::keyDownState);
}

// The volume and brightness monitors over fakes, on one set of keys; volume started.
struct FakeHUD {
    TrustedKeys keys;
    FakeAudioOutput* output = new FakeAudioOutput;
    FakeBacklight* backlight = new FakeBacklight;
    std::unique_ptr<VolumeMonitor> volume;
    std::unique_ptr<BrightnessMonitor> brightness;
    // `device` is the default output (id 1), if any.
    FakeHUD(std::optional<FakeDevice> device, std::optional<float> bright) {
        output->defaultId = device ? std::optional<AudioOutput::DeviceId>(1) : std::nullopt;
        if (device)
            output->devices[1] = *device;
        backlight->level = bright;
        volume = std::make_unique<VolumeMonitor>(std::unique_ptr<AudioOutput>(output), &keys);
        brightness =
            std::make_unique<BrightnessMonitor>(std::unique_ptr<Backlight>(backlight), &keys);
        volume->start();
    }
};
