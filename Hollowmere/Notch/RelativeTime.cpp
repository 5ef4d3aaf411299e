// SPDX-License-Identifier: MIT
#include "Notch/RelativeTime.h"

namespace {
constexpr qint64 minute = 60;
constexpr qint64 hour = 3600;
constexpr qint64 day = 86400;
} // namespace

namespace RelativeTime {

qint64 elapsedSeconds(const QDateTime& from, const QDateTime& to) {
    // Division of the milliseconds truncates toward zero, as the whole-second age must.
    return from.msecsTo(to) / 1000;
}

QString text(qint64 seconds) {
    if (seconds < minute)
        return QStringLiteral("now");
    if (seconds < hour)
        return QString::number(seconds / minute) + QLatin1Char('m');
    if (seconds >= day)
        return QString::number(seconds / day) + QLatin1Char('d');
    return QString::number(seconds / hour) + QLatin1Char('h');
}

qint64 secondsUntilChange(qint64 seconds) {
    if (seconds < minute)
        return minute - seconds;
    const qint64 unit = seconds < hour ? minute : seconds < day ? hour : day;
    return unit - seconds % unit;
}

} // namespace RelativeTime
