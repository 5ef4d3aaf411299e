// SPDX-License-Identifier: MIT
#pragma once

#include <QRectF>

#include <optional>

// What the notch needs to know about a screen, in Qt's global coordinates (origin top-left,
// y growing downward): the platform layer measures it, the rules below use it.
struct ScreenMetrics {
    QRectF frame;        // the whole screen
    QRectF visibleFrame; // without the menu bar or top panels
    double safeAreaTop = 0;
    // The menu-bar areas left and right of a camera housing; both absent without a notch.
    std::optional<QRectF> auxiliaryTopLeftArea;
    std::optional<QRectF> auxiliaryTopRightArea;
};

namespace NotchScreen {

// A screen has a notch only when it reports both areas beside it.
bool hasNotch(const ScreenMetrics& screen);

// Height of the menu bar: the band above the visible frame.
double menubarHeight(const ScreenMetrics& screen);

// The camera housing, or on a screen without one a 300-point-wide stand-in as tall as the
// menu bar, centred at the top edge.
QRectF notchFrameWithMenubarAsBackup(const ScreenMetrics& screen);

// The panel holding every notch view: half the screen wide and half high, hanging from the
// top centre. It never resizes between states.
QRectF panelFrame(const ScreenMetrics& screen);

} // namespace NotchScreen
