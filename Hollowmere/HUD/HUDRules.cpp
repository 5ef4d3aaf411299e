// SPDX-License-Identifier: MIT
#include "HUD/HUDRules.h"

#include <algorithm>
#include <cmath>

namespace HUDRules {

QString symbolName(const HUDKind& kind) {
    switch (kind.kind()) {
    case HUDKind::Case::batteryPlugged:
        return QStringLiteral("bolt.fill");
    case HUDKind::Case::batteryUnplugged:
        return QStringLiteral("battery.100");
    case HUDKind::Case::batteryLow:
        return QStringLiteral("battery.25");
    case HUDKind::Case::volume:
        return QStringLiteral("speaker.wave.2.fill");
    case HUDKind::Case::brightness:
        return QStringLiteral("sun.max.fill");
    }
    return {};
}

bool isWarning(const HUDKind& kind) {
    return kind.kind() == HUDKind::Case::batteryLow;
}

float level(const HUDKind& kind, float volume, bool isMuted, float brightness) {
    if (kind.isBattery())
        return float(kind.percentage()) / 100.0f;
    if (kind.kind() == HUDKind::Case::volume)
        return isMuted ? 0.0f : volume;
    return brightness;
}

float barValue(const HUDKind& kind, float volume, bool isMuted, float brightness) {
    return std::clamp(level(kind, volume, isMuted, brightness), 0.0f, 1.0f);
}

QString label(const HUDKind& kind, float level) {
    if (kind.isBattery())
        return QString::number(kind.percentage()) + QLatin1Char('%');
    return QString::number(std::lround(double(level) * 100.0)) + QLatin1Char('%');
}

QString accessibleName(const HUDKind& kind, float level) {
    QString what;
    switch (kind.kind()) {
    case HUDKind::Case::batteryPlugged:
        what = QStringLiteral("Battery charging");
        break;
    case HUDKind::Case::batteryUnplugged:
        what = QStringLiteral("Battery");
        break;
    case HUDKind::Case::batteryLow:
        what = QStringLiteral("Battery low");
        break;
    case HUDKind::Case::volume:
        what = QStringLiteral("Volume");
        break;
    case HUDKind::Case::brightness:
        what = QStringLiteral("Brightness");
        break;
    }
    return what + QLatin1Char(' ') + label(kind, level);
}

int litSegments(float value, int segmentCount) {
    if (segmentCount <= 0 || !(value > 0.0f))
        return 0;
    // A hair of tolerance keeps 0.3 (stored as 0.30000001) at three segments; any level above
    // zero still lights one.
    const double scaled = double(segmentCount) * double(value);
    const int lit = int(std::ceil(scaled - 1e-5));
    return std::clamp(lit, 1, segmentCount);
}

double segmentWidth(double availableWidth, int segmentCount, double spacing) {
    if (segmentCount <= 0)
        return 2.0;
    const double width = (availableWidth - double(segmentCount - 1) * spacing) / segmentCount;
    return std::max(width, 2.0);
}

} // namespace HUDRules
