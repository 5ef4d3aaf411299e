// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <memory>
#include <optional>

// One snapshot of the machine's battery, in the terms the power-source description uses.
struct PowerSourceReading {
    int currentCapacity = 0;
    int maxCapacity = 0;
    bool isCharging = false;
    bool isOnACPower = false;
};

// The machine's internal battery. changed() arrives on the thread that created the object.
class PowerSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // Absent when there is no battery or the snapshot cannot be taken.
    virtual std::optional<PowerSourceReading> read() = 0;
    // Starts reporting changes; false when the system offers no notification.
    virtual bool startNotifications() = 0;

signals:
    void changed();
};

std::unique_ptr<PowerSource> makePowerSource();
