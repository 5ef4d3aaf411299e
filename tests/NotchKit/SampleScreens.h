// SPDX-License-Identifier: MIT
// The two screens the notch tests measure against: a 1512-point laptop whose camera housing
// leaves 600-point areas either side, and a 1920×1080 monitor without a notch.
#pragma once

#include "NotchScreen.h"

inline ScreenMetrics notchedLaptop() {
    ScreenMetrics m;
    m.frame = QRectF(0, 0, 1512, 982);
    m.visibleFrame = QRectF(0, 37, 1512, 945);
    m.safeAreaTop = 37;
    m.auxiliaryTopLeftArea = QRectF(0, 0, 600, 37);
    m.auxiliaryTopRightArea = QRectF(912, 0, 600, 37);
    return m;
}

// x places the monitor beside another one.
inline ScreenMetrics plainMonitor(double x = 0) {
    ScreenMetrics m;
    m.frame = QRectF(x, 0, 1920, 1080);
    m.visibleFrame = QRectF(x, 25, 1920, 1055);
    return m;
}
