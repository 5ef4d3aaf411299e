// SPDX-License-Identifier: MIT
#include "NotchStyle.h"

NotchStyle NotchStyle::makeNotch(double topCornerRadius, double bottomCornerRadius) {
    return NotchStyle(Kind::notch, topCornerRadius, bottomCornerRadius);
}

NotchStyle NotchStyle::makeFloating(double cornerRadius) {
    return NotchStyle(Kind::floating, cornerRadius, 0);
}

NotchStyle NotchStyle::resolved(bool screenHasNotch) const {
    if (m_kind != Kind::automatic)
        return *this;
    return screenHasNotch ? notch() : floating();
}
