// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>

// How long ago something happened, as the session rows and the prompt card say it: "now" under a
// minute, then whole minutes ("5m"), hours ("3h") and, from a day on, days ("2d").
namespace RelativeTime {
// Whole seconds from `from` to `to`, truncated toward zero.
qint64 elapsedSeconds(const QDateTime& from, const QDateTime& to);
// The text for an age in seconds; an age below zero (a clock set back) reads "now".
QString text(qint64 seconds);
// Seconds until text() of a growing age changes: when a view should look again.
qint64 secondsUntilChange(qint64 seconds);
} // namespace RelativeTime
