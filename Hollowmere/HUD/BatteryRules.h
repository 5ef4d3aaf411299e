// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>
#include <vector>

// The battery level and the walk that turns successive readings into plug and low-battery events.
namespace BatteryRules {

inline constexpr std::array<int, 3> lowThresholds{20, 10, 5};

struct Event {
    enum class Kind { low, plugged, unplugged };
    Kind kind;
    // For low: the battery level at which it fired.
    int level = 0;
    friend bool operator==(const Event&, const Event&) = default;
};

// What one refresh hands to the next.
struct Memory {
    std::optional<bool> lastPlugged;
    std::optional<int> lastLowThresholdFired;
};

// Percent from capacities, truncated; 0 without a positive maximum. Not clamped at 100.
int level(int currentCapacity, int maxCapacity);

// Advances the memory by one reading and returns the events it raises, in order. The initial
// reading raises nothing; it primes the low-threshold memory with the highest threshold at or
// above the level, so a start at 8% reports 10 at the next reading on battery.
std::vector<Event> walk(Memory& memory, int level, bool pluggedIn, bool initial);

} // namespace BatteryRules
