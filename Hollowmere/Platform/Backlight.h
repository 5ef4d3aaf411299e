// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>

// The brightness of the main display's backlight as a level 0..1. Called on the main thread only.
class Backlight {
public:
    virtual ~Backlight() = default;
    // Absent when the display's brightness cannot be read.
    virtual std::optional<float> brightness() = 0;
    virtual bool setBrightness(float value) = 0;
};

std::unique_ptr<Backlight> makeBacklight();
