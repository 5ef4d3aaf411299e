// SPDX-License-Identifier: MIT
// Jump and typing on Linux: tmux, kitty and WezTerm remote control, X11 activation, the bell.
// Synchronous and bounded (every command 1 s, every wait on the X server bounded): the service
// runs it off the GUI thread.
#pragma once

#include "ClaudeIntegration/TerminalFocusRules.h"

class LinuxTerminalControl;

class LinuxTerminalFocus {
public:
    explicit LinuxTerminalFocus(LinuxTerminalControl& control) : m_control(control) {}

    enum class Path { none, tmux, kitty, wezterm, x11 };
    struct Jump {
        Path path = Path::none; // none: nothing found, the bell rang
        TerminalRules::TerminalEnvironment environment;
        std::optional<TerminalRules::WindowChoice> window; // the X window raised
        bool windowActive = false;                         // it became the active window
    };
    // The first path that applies wins: tmux, kitty, WezTerm, the X window, else the bell.
    Jump jump(const FocusTarget& target);

    enum class Delivery { injectionSocket, tmux, kitty, wezterm, xtest, nothing };
    // The injection socket, else the jump and the most direct feed it found; XTest only into a
    // window known for sure to be the session's and active.
    Delivery sendKeystrokes(const QString& text, const FocusTarget& target);

private:
    std::vector<int32_t> ancestry(int32_t pid) const;
    TerminalRules::TerminalEnvironment environmentOf(const FocusTarget& target) const;
    bool succeeds(const QString& program, const QStringList& args,
                  const TerminalRules::Environ& env = {});
    bool kittySucceeds(const TerminalRules::KittyWindow& window, const QByteArray& request);
    bool jumpTmux(const TerminalRules::TmuxPane& pane, const QString& needle, Jump& jump);
    void raiseWindow(const std::vector<int32_t>& pidChain, const QString& needle,
                     std::optional<uint64_t> namedWindow, Jump& jump);
    Delivery feed(const Jump& jump, const QString& line, const FocusTarget& target);

    LinuxTerminalControl& m_control;
};
