// SPDX-License-Identifier: MIT
// The internal battery through IOKit's power-source snapshot and its run-loop notification.
#include "Platform/Mac/CFRef.h"
#include "Platform/PowerSource.h"

#include <IOKit/ps/IOPSKeys.h>
#include <IOKit/ps/IOPowerSources.h>

#include <QMetaObject>

namespace {

int intValue(CFDictionaryRef description, CFStringRef key) {
    int value = 0;
    const auto number = static_cast<CFNumberRef>(CFDictionaryGetValue(description, key));
    if (number && CFGetTypeID(number) == CFNumberGetTypeID())
        CFNumberGetValue(number, kCFNumberIntType, &value);
    return value;
}

class IOKitPowerSource final : public PowerSource {
public:
    ~IOKitPowerSource() override {
        if (m_source)
            CFRunLoopRemoveSource(CFRunLoopGetMain(), m_source.get(), kCFRunLoopDefaultMode);
    }

    std::optional<PowerSourceReading> read() override {
        CFRef<CFTypeRef> info(IOPSCopyPowerSourcesInfo());
        if (!info)
            return std::nullopt;
        CFRef<CFArrayRef> list(IOPSCopyPowerSourcesList(info.get()));
        if (!list)
            return std::nullopt;
        for (CFIndex i = 0; i < CFArrayGetCount(list.get()); ++i) {
            // Owned by the snapshot.
            CFDictionaryRef description =
                IOPSGetPowerSourceDescription(info.get(), CFArrayGetValueAtIndex(list.get(), i));
            if (!description)
                continue;
            PowerSourceReading reading;
            reading.currentCapacity = intValue(description, CFSTR(kIOPSCurrentCapacityKey));
            reading.maxCapacity = intValue(description, CFSTR(kIOPSMaxCapacityKey));
            const auto charging = static_cast<CFBooleanRef>(
                CFDictionaryGetValue(description, CFSTR(kIOPSIsChargingKey)));
            reading.isCharging = charging && CFGetTypeID(charging) == CFBooleanGetTypeID() &&
                                 CFBooleanGetValue(charging);
            const auto state = static_cast<CFStringRef>(
                CFDictionaryGetValue(description, CFSTR(kIOPSPowerSourceStateKey)));
            reading.isOnACPower =
                state && CFGetTypeID(state) == CFStringGetTypeID() &&
                CFStringCompare(state, CFSTR(kIOPSACPowerValue), 0) == kCFCompareEqualTo;
            return reading;
        }
        return std::nullopt;
    }

    bool startNotifications() override {
        if (m_source)
            return true;
        m_source.reset(IOPSNotificationCreateRunLoopSource(&IOKitPowerSource::onChange, this));
        if (!m_source)
            return false;
        CFRunLoopAddSource(CFRunLoopGetMain(), m_source.get(), kCFRunLoopDefaultMode);
        return true;
    }

private:
    static void onChange(void* context) {
        auto* self = static_cast<IOKitPowerSource*>(context);
        QMetaObject::invokeMethod(
            self, [self] { emit self->changed(); }, Qt::QueuedConnection);
    }

    CFRef<CFRunLoopSourceRef> m_source;
};

} // namespace

std::unique_ptr<PowerSource> makePowerSource() {
    return std::make_unique<IOKitPowerSource>();
}
