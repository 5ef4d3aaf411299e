// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Backlight.h"

#include <QString>

#include <memory>

// The first backlight under a sysfs folder (firmware before platform before raw), read from its
// files and written through logind's Session.SetBrightness on the system bus, which needs no
// privileges for the active session.
class SysfsBacklight final : public Backlight {
public:
    explicit SysfsBacklight(
        QString root = QStringLiteral("/sys/class/backlight"),
        QString sessionPath = QStringLiteral("/org/freedesktop/login1/session/auto"));

    std::optional<float> brightness() override;
    bool setBrightness(float value) override;
    // The device folder in use; empty when there is none.
    QString deviceName() const { return m_device; }

private:
    // Writes logind has not yet confirmed; until it does, the folder may still hold the old level.
    struct Pending {
        int calls = 0;
        float level = 0;
    };
    std::optional<long> readNumber(const char* file) const;

    std::shared_ptr<Pending> m_pending = std::make_shared<Pending>();
    QString m_root;
    QString m_sessionPath;
    QString m_device;
};
