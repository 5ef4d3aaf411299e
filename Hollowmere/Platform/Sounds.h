// SPDX-License-Identifier: MIT
// Short feedback sounds, named as macOS names its system sounds ("Glass"). Fire and forget: never
// blocks the caller, and does nothing when the machine cannot play sound.
#pragma once

#include <QString>

namespace Sounds {
void play(const QString& systemName);
} // namespace Sounds
