// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/MediaKeyTap.h"

#include <functional>
#include <memory>

// Intercepts the volume and brightness keys before the system sees them and hands each press to
// the callbacks, so that only our own HUD appears. One per application, on the main thread.
class SystemHUDSuppressor {
public:
    using Callback = std::function<void()>;
    using TrustCheck = std::function<bool(bool prompt)>;

    // The application's suppressor, over the platform's tap and accessibility trust.
    static SystemHUDSuppressor& shared();

    SystemHUDSuppressor(std::unique_ptr<MediaKeyTap> tap, TrustCheck trust);
    SystemHUDSuppressor(const SystemHUDSuppressor&) = delete;
    SystemHUDSuppressor& operator=(const SystemHUDSuppressor&) = delete;

    // Installs the tap once; without accessibility trust it only logs.
    void start();
    bool isRunning() const { return m_isRunning; }

    // Runs the callback for one of our keys; true means swallow. A handled key is swallowed even
    // without a callback.
    bool handle(const SystemDefinedEvent& event);

    // Plain settable callbacks; whoever sets one may chain to the one it replaces.
    Callback onVolumeUp;
    Callback onVolumeDown;
    Callback onVolumeMute;
    Callback onBrightnessUp;
    Callback onBrightnessDown;

private:
    std::unique_ptr<MediaKeyTap> m_tap;
    TrustCheck m_trust;
    bool m_isRunning = false;
};
