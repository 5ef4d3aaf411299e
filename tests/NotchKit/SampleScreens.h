// SPDX-License-Identifier: MIT
// The screens the notch tests measure against: a 1512-point laptop whose camera housing
// leaves 600-point areas either side, a 1920×1080 monitor without a notch, and a housing
// put on a real screen (an X server's).
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

// A camera housing 312 points wide under a 37-point menu bar, on whatever screen is given.
inline ScreenMetrics notchedScreen(const QRectF& frame) {
    ScreenMetrics m;
    m.frame = frame;
    m.visibleFrame = frame.adjusted(0, 37, 0, 0);
    m.safeAreaTop = 37;
    const double side = (frame.width() - 312) / 2;
    m.auxiliaryTopLeftArea = QRectF(frame.left(), frame.top(), side, 37);
    m.auxiliaryTopRightArea = QRectF(frame.right() - side, frame.top(), side, 37);
    return m;
}
