// SPDX-License-Identifier: MIT
#include "HUD/SystemHUDSuppressor.h"

#include "HUD/MediaKeys.h"
#include "Platform/AccessibilityTrust.h"

#include <QDebug>

SystemHUDSuppressor& SystemHUDSuppressor::shared() {
    static SystemHUDSuppressor suppressor(makeMediaKeyTap(), &AccessibilityTrust::isTrusted);
    return suppressor;
}

SystemHUDSuppressor::SystemHUDSuppressor(std::unique_ptr<MediaKeyTap> tap, TrustCheck trust)
    : m_tap(std::move(tap)), m_trust(std::move(trust)) {}

void SystemHUDSuppressor::start() {
    if (m_isRunning)
        return;
    if (!m_trust(true)) {
        qWarning().noquote() << "HUDSuppressor: Accessibility permission required";
        return;
    }
    if (!m_tap || !m_tap->install([this](const SystemDefinedEvent& e) { return handle(e); }))
        return;
    m_isRunning = true;
}

bool SystemHUDSuppressor::handle(const SystemDefinedEvent& event) {
    const auto key = MediaKeys::decode(event);
    if (!key)
        return false;
    const Callback* callback = nullptr;
    switch (*key) {
    case MediaKeys::Key::volumeUp:
        callback = &onVolumeUp;
        break;
    case MediaKeys::Key::volumeDown:
        callback = &onVolumeDown;
        break;
    case MediaKeys::Key::mute:
        callback = &onVolumeMute;
        break;
    case MediaKeys::Key::brightnessUp:
        callback = &onBrightnessUp;
        break;
    case MediaKeys::Key::brightnessDown:
        callback = &onBrightnessDown;
        break;
    }
    if (*callback)
        (*callback)();
    return true;
}
