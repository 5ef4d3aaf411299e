// SPDX-License-Identifier: MIT
#include "NotchScreen.h"

namespace NotchScreen {

bool hasNotch(const ScreenMetrics& screen) {
    return screen.auxiliaryTopLeftArea.has_value() && screen.auxiliaryTopRightArea.has_value();
}

double menubarHeight(const ScreenMetrics& screen) {
    return screen.visibleFrame.top() - screen.frame.top();
}

QRectF notchFrameWithMenubarAsBackup(const ScreenMetrics& screen) {
    const QRectF& frame = screen.frame;
    double width, height;
    if (!hasNotch(screen)) {
        // Deliberately fixed, whatever the screen's width.
        width = 300;
        height = menubarHeight(screen);
    } else {
        width = frame.width() - screen.auxiliaryTopLeftArea->width() -
                screen.auxiliaryTopRightArea->width();
        height = screen.safeAreaTop;
    }
    return QRectF(frame.center().x() - width * 0.5, frame.top(), width, height);
}

QRectF panelFrame(const ScreenMetrics& screen) {
    const QRectF& frame = screen.frame;
    const double width = frame.width() / 2, height = frame.height() / 2;
    return QRectF(frame.center().x() - width / 2, frame.top(), width, height);
}

} // namespace NotchScreen
