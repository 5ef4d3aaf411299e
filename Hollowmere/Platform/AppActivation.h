// SPDX-License-Identifier: MIT
// macOS runs Hollowmere as an accessory (no Dock icon, no menu bar menu) except while one of its
// windows is open. Other systems have no such policy.
#pragma once

namespace AppActivation {
void setRegular(bool regular);
// Brings the application in front, so a window it shows takes the keyboard.
void activate();
} // namespace AppActivation
