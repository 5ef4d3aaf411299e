// SPDX-License-Identifier: MIT
#pragma once

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
    bool notifications = false;
    std::optional<PowerSourceReading> read() override { return reading; }
    bool startNotifications() override { return notifications = true; }
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
