// SPDX-License-Identifier: MIT
// The app's own preferences (QSettings, organisation and application "Hollowmere"), by the keys
// the onboarding, the settings window and start-up share.
#pragma once

#include <QSettings>

namespace Preferences {
inline constexpr char onboardingCompleted[] = "onboarding.completed";
inline constexpr char onboardingResumeAt[] = "onboarding.resumeAt";
inline constexpr char soundsEnabled[] = "soundsEnabled";

inline bool sounds() {
    return QSettings().value(QLatin1String(soundsEnabled), true).toBool();
}

// Says in one log line when the preferences file cannot be read; one that does not parse is
// moved aside first, since the next write would replace it. Start-up goes on with defaults.
// Returns whether they were readable.
bool reportUnreadable();
} // namespace Preferences
