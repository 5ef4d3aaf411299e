// SPDX-License-Identifier: MIT
#pragma once

#include <QFlags>

// What hovering over the notch does, as an option set.
enum class NotchHoverOption {
    keepVisible = 1,    // a hide waits until the pointer leaves
    hapticFeedback = 2, // one trackpad tap when hovering starts or stops
    increaseShadow = 4, // stronger shadow while hovering
};
Q_DECLARE_FLAGS(NotchHoverBehavior, NotchHoverOption)
Q_DECLARE_OPERATORS_FOR_FLAGS(NotchHoverBehavior)

namespace NotchHover {
inline constexpr NotchHoverBehavior none{};
inline const NotchHoverBehavior all = NotchHoverOption::keepVisible |
                                      NotchHoverOption::hapticFeedback |
                                      NotchHoverOption::increaseShadow;
} // namespace NotchHover
