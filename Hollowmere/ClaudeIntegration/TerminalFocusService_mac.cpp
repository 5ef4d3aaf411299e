// SPDX-License-Identifier: MIT
// On the GUI thread, as NSAppleScript wants; the delayed steps are GUI-thread timers.
#include "ClaudeIntegration/TerminalFocusService.h"

#include "ClaudeIntegration/TerminalFocusMac.h"
#include "Platform/TerminalControl.h"

namespace TerminalFocusService {

void jump(const Session& session) {
    MacTerminalFocus(MacTerminalControl::system()).jump(FocusTarget::from(session));
}

void sendKeystrokes(const QString& text, const Session& session) {
    MacTerminalFocus(MacTerminalControl::system()).sendKeystrokes(text, FocusTarget::from(session));
}

bool waitForIdle(int) {
    return true;
}

} // namespace TerminalFocusService
