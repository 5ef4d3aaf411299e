// SPDX-License-Identifier: MIT
#pragma once

#include "NotchAnimation.h"

#include <optional>

// The animations a notch uses between its states; an absent one falls back to the surface's
// default spring for that transition.
struct NotchTransitionConfiguration {
    std::optional<NotchAnimation> openingAnimation;
    std::optional<NotchAnimation> closingAnimation;
    std::optional<NotchAnimation> conversionAnimation;
    // Morph between compact and expanded directly instead of closing in between.
    bool skipIntermediateHides = false;
};
