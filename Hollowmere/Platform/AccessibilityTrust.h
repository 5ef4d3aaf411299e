// SPDX-License-Identifier: MIT
#pragma once

namespace AccessibilityTrust {
// Whether the application may observe and change other applications' input. With prompt, the
// system asks the user when it is not yet granted.
bool isTrusted(bool prompt);
} // namespace AccessibilityTrust
