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

// The machine's internal battery. Signals arrive on the thread that created the object.
class PowerSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // The latest snapshot; absent when there is no battery or none could be taken yet. Never
    // waits on a service: where the system answers asynchronously, this is its last answer.
    virtual std::optional<PowerSourceReading> read() = 0;
    // Starts reporting changes; false when the system offers no notification.
    virtual bool startNotifications() = 0;

signals:
    void changed();
    // The service behind the readings went away or came back: what it reports next is a new
    // starting state, not a change from the last reading.
    void restarted();
};

std::unique_ptr<PowerSource> makePowerSource();
