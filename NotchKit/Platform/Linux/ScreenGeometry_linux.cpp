// SPDX-License-Identifier: MIT
#include "../ScreenGeometry.h"

#include <QRegularExpression>
#include <QScreen>
#include <QSizeF>

#include <algorithm>
#include <optional>

namespace {

// HOLLOWMERE_SIMULATE_NOTCH=WxH, e.g. "200x32".
std::optional<QSizeF> simulatedNotch() {
    const QString value = qEnvironmentVariable("HOLLOWMERE_SIMULATE_NOTCH");
    static const QRegularExpression pattern(QStringLiteral("^\\s*(\\d+)\\s*[xX]\\s*(\\d+)\\s*$"));
    const QRegularExpressionMatch m = pattern.match(value);
    if (!m.hasMatch())
        return std::nullopt;
    const QSizeF size(m.captured(1).toDouble(), m.captured(2).toDouble());
    if (size.width() <= 0 || size.height() <= 0)
        return std::nullopt;
    return size;
}

} // namespace

namespace ScreenGeometry {

ScreenMetrics metrics(QScreen* screen) {
    ScreenMetrics m;
    if (!screen)
        return m;
    m.frame = screen->geometry();
    m.visibleFrame = screen->availableGeometry();
    if (const auto notch = simulatedNotch()) {
        const double width = std::min(notch->width(), m.frame.width());
        const double side = (m.frame.width() - width) / 2;
        // As on a notched laptop, the menu bar is as tall as the housing.
        const double bar = std::max(notch->height(), NotchScreen::menubarHeight(m));
        m.visibleFrame.setTop(m.frame.top() + bar);
        m.safeAreaTop = notch->height();
        m.auxiliaryTopLeftArea = QRectF(m.frame.left(), m.frame.top(), side, bar);
        m.auxiliaryTopRightArea = QRectF(m.frame.right() - side, m.frame.top(), side, bar);
    }
    return m;
}

} // namespace ScreenGeometry
