// SPDX-License-Identifier: MIT
// The default output device through Core Audio's property interface. Listener callbacks arrive on
// Core Audio's threads and only post to the object's thread.
#include "Platform/AudioOutput.h"

#include <CoreAudio/CoreAudio.h>

#include <QMetaObject>

#include <set>

namespace {

// Element 0 is the main element (kAudioObjectPropertyElementMain, formerly "Master").
constexpr AudioObjectPropertyElement mainElement = 0;
// 'vmvc': the virtual main volume that the system's own volume control uses.
constexpr AudioObjectPropertySelector virtualMainVolume = 'vmvc';

constexpr AudioObjectPropertyAddress defaultOutputAddress{
    kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal, mainElement};
constexpr AudioObjectPropertyAddress mainVolumeAddress{
    virtualMainVolume, kAudioDevicePropertyScopeOutput, mainElement};
constexpr AudioObjectPropertyAddress channelVolumeAddress{kAudioDevicePropertyVolumeScalar,
                                                          kAudioDevicePropertyScopeOutput, 1};
constexpr AudioObjectPropertyAddress muteAddress{kAudioDevicePropertyMute,
                                                 kAudioDevicePropertyScopeOutput, mainElement};

template <typename T>
std::optional<T> get(AudioObjectID object, AudioObjectPropertyAddress address) {
    T value{};
    UInt32 size = sizeof(value);
    if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value) != noErr)
        return std::nullopt;
    return value;
}

template <typename T> bool set(AudioObjectID object, AudioObjectPropertyAddress address, T value) {
    return AudioObjectSetPropertyData(object, &address, 0, nullptr, sizeof(value), &value) == noErr;
}

class CoreAudioOutput final : public AudioOutput {
public:
    CoreAudioOutput() {
        AudioObjectAddPropertyListener(kAudioObjectSystemObject, &defaultOutputAddress,
                                       &CoreAudioOutput::deviceCallback, this);
    }
    ~CoreAudioOutput() override {
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &defaultOutputAddress,
                                          &CoreAudioOutput::deviceCallback, this);
        for (AudioObjectID device : m_watched) {
            for (const auto& address : {mainVolumeAddress, muteAddress, channelVolumeAddress})
                AudioObjectRemovePropertyListener(device, &address,
                                                  &CoreAudioOutput::volumeCallback, this);
        }
    }

    std::optional<DeviceId> defaultDevice() override {
        return get<AudioObjectID>(kAudioObjectSystemObject, defaultOutputAddress);
    }
    std::optional<float> mainVolume(DeviceId device) override {
        return get<Float32>(device, mainVolumeAddress);
    }
    std::optional<float> firstChannelVolume(DeviceId device) override {
        return get<Float32>(device, channelVolumeAddress);
    }
    std::optional<bool> isMuted(DeviceId device) override {
        const auto muted = get<UInt32>(device, muteAddress);
        return muted ? std::optional<bool>(*muted != 0) : std::nullopt;
    }
    bool setMainVolume(DeviceId device, float value) override {
        return set<Float32>(device, mainVolumeAddress, value);
    }
    bool setMuted(DeviceId device, bool muted) override {
        return set<UInt32>(device, muteAddress, muted ? 1 : 0);
    }
    void watch(DeviceId device) override {
        if (device == kAudioObjectUnknown || !m_watched.insert(device).second)
            return;
        for (const auto& address : {mainVolumeAddress, muteAddress, channelVolumeAddress})
            AudioObjectAddPropertyListener(device, &address, &CoreAudioOutput::volumeCallback,
                                           this);
    }

private:
    static OSStatus volumeCallback(AudioObjectID, UInt32, const AudioObjectPropertyAddress*,
                                   void* client) {
        auto* self = static_cast<CoreAudioOutput*>(client);
        QMetaObject::invokeMethod(
            self, [self] { emit self->valuesChanged(); }, Qt::QueuedConnection);
        return noErr;
    }
    static OSStatus deviceCallback(AudioObjectID, UInt32, const AudioObjectPropertyAddress*,
                                   void* client) {
        auto* self = static_cast<CoreAudioOutput*>(client);
        QMetaObject::invokeMethod(
            self, [self] { emit self->defaultDeviceChanged(); }, Qt::QueuedConnection);
        return noErr;
    }

    std::set<AudioObjectID> m_watched;
};

} // namespace

std::unique_ptr<AudioOutput> makeAudioOutput() {
    return std::make_unique<CoreAudioOutput>();
}
