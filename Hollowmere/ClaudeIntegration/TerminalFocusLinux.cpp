// SPDX-License-Identifier: MIT
#include "ClaudeIntegration/TerminalFocusLinux.h"

#include "ClaudeIntegration/InjectionSocket.h"
#include "Platform/TerminalControl.h"

#include <QDebug>

#include <algorithm>

using namespace TerminalRules;

namespace {

// Enough for terminal, shell, tmux client or server and a wrapper or two.
constexpr int ancestorLimit = 10;

void notTyping(const FocusTarget& target, const char* why) {
    qInfo().noquote() << "Hollowmere: not typing into session" << target.sessionId << "-" << why;
}

} // namespace

std::vector<int32_t> LinuxTerminalFocus::ancestry(int32_t pid) const {
    std::vector<int32_t> chain;
    std::optional<int32_t> current = pid;
    for (int step = 0; current && *current > 1 && step <= ancestorLimit; ++step) {
        chain.push_back(*current);
        current = m_control.parentPid(*current);
    }
    return chain;
}

TerminalEnvironment LinuxTerminalFocus::environmentOf(const FocusTarget& target) const {
    if (!target.claudePid)
        return {};
    // The claude process's own environment; a wrapper that cleared it sends us to its parents,
    // never as far as the terminal itself (its environment is that of whoever started it).
    for (int32_t pid : ancestry(*target.claudePid)) {
        if (pid == target.terminalPid)
            break;
        const auto environ = m_control.environ(pid);
        if (!environ)
            continue;
        TerminalEnvironment env = terminalEnvironment(parseEnviron(*environ));
        if (namesTerminal(env))
            return env;
    }
    return {};
}

bool LinuxTerminalFocus::succeeds(const QString& program, const QStringList& args,
                                  const Environ& env) {
    const auto result = m_control.run(program, args, env);
    return result && result->exitCode == 0;
}

bool LinuxTerminalFocus::kittySucceeds(const KittyWindow& window, const QByteArray& request) {
    const auto answer = m_control.kittyExchange(window.listenOn, request);
    return answer && (!kittyAnswers(request) || kittyAnswerOk(*answer));
}

LinuxTerminalFocus::Jump LinuxTerminalFocus::jump(const FocusTarget& target) {
    Jump jump;
    jump.environment = environmentOf(target);
    const QString needle = TerminalRules::needle(target.cwd);
    const TerminalEnvironment& env = jump.environment;

    std::vector<int32_t> chain;
    if (target.claudePid)
        chain = ancestry(*target.claudePid);
    if (target.terminalPid &&
        std::find(chain.begin(), chain.end(), *target.terminalPid) == chain.end())
        chain.push_back(*target.terminalPid);

    if (env.tmux && jumpTmux(*env.tmux, needle, jump))
        return jump;
    if (env.kitty && kittySucceeds(*env.kitty, kittyFocusRequest(*env.kitty))) {
        jump.path = Path::kitty;
        raiseWindow(chain, needle, env.windowId, jump);
        return jump;
    }
    if (env.wezterm && succeeds(QStringLiteral("wezterm"), weztermActivateArgs(*env.wezterm),
                                weztermEnvironment(*env.wezterm))) {
        jump.path = Path::wezterm;
        raiseWindow(chain, needle, env.windowId, jump);
        return jump;
    }
    raiseWindow(chain, needle, env.windowId, jump);
    if (jump.window) {
        jump.path = Path::x11;
        return jump;
    }
    qInfo().noquote() << "Hollowmere: no terminal found for session" << target.sessionId;
    m_control.beep();
    return jump;
}

bool LinuxTerminalFocus::jumpTmux(const TmuxPane& pane, const QString& needle, Jump& jump) {
    const auto selected = m_control.run(QStringLiteral("tmux"), tmuxSelectArgs(pane));
    if (!selected || selected->exitCode != 0)
        return false; // no tmux, no server, or the pane is gone
    const auto view = parseTmuxView(QString::fromUtf8(selected->output));
    if (!view)
        return false;
    jump.path = Path::tmux;
    const auto client = chooseTmuxClient(*view);
    if (!client) {
        // The pane is selected, but no terminal shows its server.
        qInfo().noquote() << "Hollowmere: no tmux client shows pane" << pane.pane;
        m_control.beep();
        return true;
    }
    if (client->sessionId != view->sessionId)
        m_control.run(QStringLiteral("tmux"), tmuxSwitchClientArgs(pane, client->tty));
    // The server runs detached: the window to raise is that of the client's terminal.
    std::optional<uint64_t> named;
    if (const auto environ = m_control.environ(client->pid))
        named = terminalEnvironment(parseEnviron(*environ)).windowId;
    raiseWindow(ancestry(client->pid), needle, named, jump);
    return true;
}

void LinuxTerminalFocus::raiseWindow(const std::vector<int32_t>& pidChain, const QString& needle,
                                     std::optional<uint64_t> namedWindow, Jump& jump) {
    if (pidChain.empty())
        return;
    const auto windows = m_control.windows();
    if (windows.empty())
        return;
    std::optional<uint64_t> namedTopLevel;
    if (namedWindow)
        namedTopLevel = m_control.topLevelWindow(*namedWindow);
    jump.window = chooseWindow(windows, pidChain, needle, namedTopLevel);
    if (jump.window)
        jump.windowActive = m_control.activate(jump.window->id);
}

LinuxTerminalFocus::Delivery LinuxTerminalFocus::sendKeystrokes(const QString& text,
                                                                const FocusTarget& target) {
    const QString line = lineText(text);
    if (InjectionSocket::injectViaDaemon(target.sessionId, line)) {
        jump(target);
        return Delivery::injectionSocket;
    }
    return feed(jump(target), line, target);
}

LinuxTerminalFocus::Delivery LinuxTerminalFocus::feed(const Jump& jump, const QString& line,
                                                      const FocusTarget& target) {
    const TerminalEnvironment& env = jump.environment;
    switch (jump.path) {
    case Path::tmux:
        if (succeeds(QStringLiteral("tmux"), tmuxSendTextArgs(*env.tmux, line)) &&
            succeeds(QStringLiteral("tmux"), tmuxSendReturnArgs(*env.tmux)))
            return Delivery::tmux;
        break;
    case Path::kitty:
        if (kittySucceeds(*env.kitty, kittySendRequest(*env.kitty, line)))
            return Delivery::kitty;
        break;
    case Path::wezterm:
        if (succeeds(QStringLiteral("wezterm"), weztermSendArgs(*env.wezterm, line),
                     weztermEnvironment(*env.wezterm)))
            return Delivery::wezterm;
        break;
    case Path::x11:
    case Path::none:
        break;
    }
    if (!jump.window) {
        notTyping(target, "its terminal window is not known");
        return Delivery::nothing;
    }
    if (!jump.window->certain) {
        notTyping(target, "several windows could be its terminal");
        return Delivery::nothing;
    }
    if (!jump.windowActive) {
        notTyping(target, "its terminal window did not become active");
        return Delivery::nothing;
    }
    if (!m_control.typeInto(jump.window->id, line)) {
        notTyping(target, "its terminal window stopped being active");
        return Delivery::nothing;
    }
    return Delivery::xtest;
}
