// SPDX-License-Identifier: MIT
// Jump and typing on macOS: iTerm2 and Terminal by AppleScript, any other terminal activated with
// its tab found in the accessibility tree, typing by System Events. Runs on the GUI thread (as
// NSAppleScript wants); its two delayed steps go through the control's timer.
#pragma once

#include "ClaudeIntegration/TerminalFocusRules.h"

class MacTerminalControl;

class MacTerminalFocus {
public:
    explicit MacTerminalFocus(MacTerminalControl& control) : m_control(control) {}

    enum class Outcome { iTerm, appleTerminal, appleTerminalWithoutTty, generic, beep };
    Outcome jump(const FocusTarget& target);
    // true when the line went through the injection socket (no keystroke script follows).
    bool sendKeystrokes(const QString& text, const FocusTarget& target);
    // Selects the Terminal tab whose tty is the claude process's controlling terminal.
    bool focusAppleTerminalByTTY(int32_t claudePid);

    // Waits before the accessibility walk and before the keystroke script, in milliseconds.
    static constexpr int walkDelayMs = 100;
    static constexpr int keystrokeDelayMs = 150;

private:
    MacTerminalControl& m_control;
};
