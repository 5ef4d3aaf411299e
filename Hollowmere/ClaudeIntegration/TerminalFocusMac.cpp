// SPDX-License-Identifier: MIT
#include "ClaudeIntegration/TerminalFocusMac.h"

#include "ClaudeIntegration/InjectionSocket.h"
#include "Platform/TerminalControl.h"

using namespace TerminalRules;

MacTerminalFocus::Outcome MacTerminalFocus::jump(const FocusTarget& target) {
    switch (macJumpPath(target)) {
    case MacJumpPath::iTerm:
        m_control.runAppleScript(iTermScript(*target.iTermSessionId));
        return Outcome::iTerm;
    case MacJumpPath::appleTerminal:
        // A process without a terminal ends here: the generic path would only guess.
        return focusAppleTerminalByTTY(*target.claudePid) ? Outcome::appleTerminal
                                                          : Outcome::appleTerminalWithoutTty;
    case MacJumpPath::generic:
        break;
    }
    std::optional<int32_t> app;
    if (target.terminalPid)
        app = m_control.applicationWithPid(*target.terminalPid);
    if (!app && target.bundleId)
        app = m_control.applicationWithBundleId(*target.bundleId);
    if (!app) {
        m_control.beep();
        return Outcome::beep;
    }
    m_control.activateAllWindows(*app);
    // The tab bar answers only once the application is in front.
    m_control.after(walkDelayMs, [&control = m_control, pid = *app, needle = needle(target.cwd)] {
        if (auto root = control.accessibilityElement(pid))
            walk(*root, 0, needle);
    });
    return Outcome::generic;
}

bool MacTerminalFocus::focusAppleTerminalByTTY(int32_t claudePid) {
    const MacTerminalControl::BsdInfo info = m_control.bsdInfo(claudePid);
    if (!usableTerminalDevice(info.bytesReturned, info.device))
        return false;
    const QString name = m_control.deviceName(info.device);
    if (name.isEmpty())
        return false;
    m_control.runAppleScript(terminalTtyScript(QStringLiteral("/dev/") + name));
    return true;
}

bool MacTerminalFocus::sendKeystrokes(const QString& text, const FocusTarget& target) {
    const QString line = lineText(text);
    const bool injected = InjectionSocket::injectViaDaemon(target.sessionId, line);
    jump(target);
    if (!injected) {
        m_control.after(keystrokeDelayMs, [&control = m_control, line] {
            control.runAppleScript(keystrokeScript(line));
        });
    }
    return injected;
}
