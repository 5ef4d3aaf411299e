// SPDX-License-Identifier: MIT
#pragma once

#include "HUD/HUDState.h"

#include <QString>

// What the HUD views show for a kind: every rule here, the views only lay it out.
namespace HUDRules {

inline constexpr int segmentCount = 10;

// The system symbol drawn left of the notch.
QString symbolName(const HUDKind& kind);
// Low battery is drawn in red, everything else in the palette accent.
bool isWarning(const HUDKind& kind);
// The level shown, as a fraction; above 1 for a volume amplified beyond full.
float level(const HUDKind& kind, float volume, bool isMuted, float brightness);
// The fraction the level bar shows: the level, at most full.
float barValue(const HUDKind& kind, float volume, bool isMuted, float brightness);
// The percentage text right of the bar, for a level.
QString label(const HUDKind& kind, float level);
// What a screen reader says for the HUD: "Volume 56%", "Battery low 9%".
QString accessibleName(const HUDKind& kind, float level);
// Segments lit for a value: rounded up, so any level above zero lights at least one.
int litSegments(float value, int segmentCount);
// Width of one segment in a row of the given width; never below 2.
double segmentWidth(double availableWidth, int segmentCount, double spacing);

} // namespace HUDRules
