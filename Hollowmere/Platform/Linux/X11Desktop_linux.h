// SPDX-License-Identifier: MIT
// The X server as terminal focus needs it, over XCB: one connection per operation, errors as
// return values (Xlib's process-wide handlers would race the GUI thread's), every wait bounded.
#pragma once

#include "ClaudeIntegration/TerminalFocusRules.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace X11Desktop {

inline constexpr int activationWaitMs = 1000;

// The window manager's client list with each window's _NET_WM_PID and title.
std::vector<TerminalRules::WindowInfo> windows();
std::optional<uint64_t> topLevelWindow(uint64_t window);
std::optional<uint64_t> activeWindow();
// A _NET_ACTIVE_WINDOW request from a pager, then a wait for the root's property to name it.
bool activate(uint64_t window, int waitMs = activationWaitMs);
// XTest key events for `line` and Return, each key only after checking that `window` is active.
bool typeInto(uint64_t window, const QString& line);
void bell();

} // namespace X11Desktop
