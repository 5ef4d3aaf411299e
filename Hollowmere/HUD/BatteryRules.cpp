// SPDX-License-Identifier: MIT
#include "HUD/BatteryRules.h"

namespace BatteryRules {

int level(int currentCapacity, int maxCapacity) {
    if (maxCapacity <= 0)
        return 0;
    return int((long long)currentCapacity * 100 / maxCapacity);
}

std::vector<Event> walk(Memory& memory, int level, bool pluggedIn, bool initial) {
    std::vector<Event> events;
    if (initial) {
        memory.lastPlugged = pluggedIn;
        memory.lastLowThresholdFired.reset();
        for (int t : lowThresholds) {
            if (t >= level) {
                memory.lastLowThresholdFired = t;
                break;
            }
        }
        return events;
    }
    if (memory.lastPlugged && *memory.lastPlugged != pluggedIn)
        events.push_back({pluggedIn ? Event::Kind::plugged : Event::Kind::unplugged});
    memory.lastPlugged = pluggedIn;

    if (pluggedIn) {
        memory.lastLowThresholdFired.reset();
        return events;
    }
    for (int t : lowThresholds) {
        if (t < level)
            continue;
        if (!memory.lastLowThresholdFired || t < *memory.lastLowThresholdFired) {
            memory.lastLowThresholdFired = t;
            events.push_back({Event::Kind::low, level});
            break;
        }
    }
    return events;
}

} // namespace BatteryRules
