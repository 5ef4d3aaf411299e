// SPDX-License-Identifier: MIT
#include "HUD/HUDCompactModel.h"

#include "HUD/HUDRules.h"
#include "Notch/NotchPalette.h"
#include "Platform/SymbolImageProvider.h"

HUDCompactModel::HUDCompactModel(QObject* parent) : QObject(parent) {}

void HUDCompactModel::follow(QObject* source) {
    if (!source)
        return;
    // Every notifying property of the inputs can change what is shown.
    const QMetaObject* meta = source->metaObject();
    const int changedIndex = metaObject()->indexOfSignal("changed()");
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (property.hasNotifySignal())
            QMetaObject::connect(source, property.notifySignalIndex(), this, changedIndex);
    }
    emit changed();
}

void HUDCompactModel::setHud(HUDState* hud) {
    if (hud == m_hud)
        return;
    if (m_hud)
        disconnect(m_hud, nullptr, this, nullptr);
    m_hud = hud;
    follow(hud);
    if (hud)
        connect(hud, &HUDState::bumpChanged, this, &HUDCompactModel::bumpChanged);
    emit inputsChanged();
}

void HUDCompactModel::setVolume(VolumeMonitor* volume) {
    if (volume == m_volume)
        return;
    if (m_volume)
        disconnect(m_volume, nullptr, this, nullptr);
    m_volume = volume;
    follow(volume);
    emit inputsChanged();
}

void HUDCompactModel::setBrightness(BrightnessMonitor* brightness) {
    if (brightness == m_brightness)
        return;
    if (m_brightness)
        disconnect(m_brightness, nullptr, this, nullptr);
    m_brightness = brightness;
    follow(brightness);
    emit inputsChanged();
}

QString HUDCompactModel::symbolName() const {
    return HUDRules::symbolName(kind());
}

QString HUDCompactModel::symbolSource() const {
    return SymbolImageProvider::source(symbolName(), tint());
}

QColor HUDCompactModel::tint() const {
    return HUDRules::isWarning(kind()) ? NotchPalette::red() : NotchPalette::accent();
}

float HUDCompactModel::barValue() const {
    return HUDRules::barValue(kind(), m_volume ? m_volume->volume() : 0.0f,
                              m_volume && m_volume->isMuted(),
                              m_brightness ? m_brightness->brightness() : 0.5f);
}

float HUDCompactModel::level() const {
    // The real level: 150% reads as such while the bar stays full.
    return HUDRules::level(kind(), m_volume ? m_volume->volume() : 0.0f,
                           m_volume && m_volume->isMuted(),
                           m_brightness ? m_brightness->brightness() : 0.5f);
}

QString HUDCompactModel::label() const {
    return HUDRules::label(kind(), level());
}

QString HUDCompactModel::accessibleName() const {
    return HUDRules::accessibleName(kind(), level());
}
