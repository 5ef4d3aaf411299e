// SPDX-License-Identifier: MIT
#include "HUD/VolumeMonitor.h"

#include "HUD/SystemHUDSuppressor.h"

#include <QPointer>

#include <algorithm>

VolumeMonitor::VolumeMonitor(QObject* parent)
    : VolumeMonitor(makeAudioOutput(), &SystemHUDSuppressor::shared(), parent) {}

VolumeMonitor::VolumeMonitor(std::unique_ptr<AudioOutput> output, SystemHUDSuppressor* suppressor,
                             QObject* parent)
    : QObject(parent), m_output(std::move(output)), m_suppressor(suppressor) {
    // A default device that appears or changes later is followed even when there was none at
    // first, so an audio server that comes up after us (or answers late) is picked up.
    connect(m_output.get(), &AudioOutput::defaultDeviceChanged, this, &VolumeMonitor::rebind);
    connect(m_output.get(), &AudioOutput::valuesChanged, this, &VolumeMonitor::updateFromSystem);
    setupDevice();
    updateFromSystem();
}

VolumeMonitor::~VolumeMonitor() = default;

void VolumeMonitor::start() {
    if (m_running)
        return;
    m_running = true;
    addListeners();

    QPointer<VolumeMonitor> self(this);
    m_suppressor->onVolumeUp = [self] {
        if (self)
            self->set(self->m_volume + step);
    };
    m_suppressor->onVolumeDown = [self] {
        if (self)
            self->set(self->m_volume - step);
    };
    m_suppressor->onVolumeMute = [self] {
        if (self)
            self->toggleMute();
    };
}

void VolumeMonitor::set(float value) {
    if (m_deviceID == 0)
        return;
    m_output->setMainVolume(m_deviceID, std::clamp(value, 0.0f, std::max(1.0f, m_volume)));
}

void VolumeMonitor::toggleMute() {
    if (m_deviceID == 0)
        return;
    m_output->setMuted(m_deviceID, !m_isMuted);
}

void VolumeMonitor::setupDevice() {
    const auto device = m_output->defaultDevice();
    if (!device || *device == m_deviceID)
        return;
    m_deviceID = *device;
    emit deviceIDChanged();
}

void VolumeMonitor::updateFromSystem() {
    if (m_deviceID == 0)
        return;
    auto volume = m_output->mainVolume(m_deviceID);
    if (!volume)
        volume = m_output->firstChannelVolume(m_deviceID);
    if (volume && *volume != m_volume) {
        m_volume = *volume;
        emit volumeChanged();
    }
    const auto muted = m_output->isMuted(m_deviceID);
    if (muted && *muted != m_isMuted) {
        m_isMuted = *muted;
        emit isMutedChanged();
    }
}

void VolumeMonitor::addListeners() {
    if (m_deviceID != 0)
        m_output->watch(m_deviceID);
}

void VolumeMonitor::rebind() {
    setupDevice();
    if (m_running)
        addListeners();
    updateFromSystem();
}
