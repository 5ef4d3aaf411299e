// SPDX-License-Identifier: MIT
#include "Sessions/RunningClaude.h"

#include "Platform/ProcessTable.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::pair<std::string_view, std::string_view> terminalBundles[] = {
    {"Terminal", "com.apple.Terminal"},
    {"iTerm2", "com.googlecode.iterm2"},
    {"ghostty", "com.mitchellh.ghostty"},
    {"wezterm-gui", "com.github.wez.wezterm"},
    {"WezTerm", "com.github.wez.wezterm"},
    {"alacritty", "io.alacritty"},
    {"kitty", "net.kovidgoyal.kitty"},
    {"Warp", "dev.warp.Warp-Stable"},
    {"Code", "com.microsoft.VSCode"},
    {"Cursor", "com.todesktop.230313mzl4w4u92"},
    // Linux terminals, by the name of the process that owns the window.
    {"gnome-terminal-server", "org.gnome.Terminal"},
    {"kgx", "org.gnome.Console"},
    {"ptyxis", "org.gnome.Ptyxis"},
    {"konsole", "org.kde.konsole"},
    {"xfce4-terminal", "org.xfce.terminal"},
    {"tilix", "com.gexperts.Tilix"},
    {"terminator", "org.gnome.Terminator"},
    {"xterm", "net.invisible_island.xterm"},
    {"urxvt", "de.schmorp.urxvt"},
    {"urxvtd", "de.schmorp.urxvt"},
    {"foot", "org.codeberg.dnkl.foot"},
    {"warp", "dev.warp.Warp-Stable"},
    {"code", "com.visualstudio.code"},
};

// Ancestors looked at above a process: enough for terminal, shell, tmux and a wrapper or two,
// and a bound on work for a walk that runs on timers.
constexpr int ancestorLimit = 10;

bool pathNamesClaude(std::string path) {
    std::transform(path.begin(), path.end(), path.begin(),
                   [](unsigned char c) { return char(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    return path.find("/claude") != std::string::npos || path.ends_with("/claude");
}

// The name decides first; the executable path is read only when it does not.
bool isClaude(const ProcessTable& table, int32_t pid, std::string_view name) {
    if (name.find("claude") != std::string_view::npos)
        return true;
    auto path = table.executablePath(pid);
    return path && pathNamesClaude(std::move(*path));
}

} // namespace

namespace ClaudeProcesses {

std::optional<std::string> terminalBundleId(std::string_view processName) {
    for (const auto& [name, bundleId] : terminalBundles) {
        if (name == processName)
            return std::string(bundleId);
    }
    return std::nullopt;
}

std::vector<RunningClaude> runningClaudes(const ProcessTable& table) {
    std::vector<RunningClaude> found;
    for (int32_t pid : table.pids()) {
        if (pid < 1)
            continue;
        auto name = table.name(pid);
        if (!name || !isClaude(table, pid, *name))
            continue;
        // Adopted by the system's launcher: a background agent, not a session in a terminal.
        auto parent = table.parentPid(pid);
        if (!parent || *parent == 1)
            continue;
        auto cwd = table.currentDirectory(pid);
        if (!cwd)
            continue;
        auto terminal = detectTerminal(table, pid);
        found.push_back({pid, std::move(*cwd), std::move(terminal.bundleId), terminal.pid});
    }
    return found;
}

TerminalMatch detectTerminal(const ProcessTable& table, int32_t claudePid) {
    auto current = table.parentPid(claudePid);
    for (int step = 0; current && step < ancestorLimit; ++step) {
        if (*current < 2)
            return {};
        auto name = table.name(*current);
        if (!name)
            return {};
        if (auto bundleId = terminalBundleId(*name))
            return {std::move(bundleId), *current};
        current = table.parentPid(*current);
    }
    return {};
}

std::optional<int32_t> claudeAncestor(const ProcessTable& table, int32_t pid) {
    auto current = table.parentPid(pid);
    for (int step = 0; current && step < ancestorLimit; ++step) {
        if (*current < 2)
            return std::nullopt;
        auto name = table.name(*current);
        if (!name)
            return std::nullopt;
        if (isClaude(table, *current, *name))
            return current;
        current = table.parentPid(*current);
    }
    return std::nullopt;
}

std::vector<RunningClaude> runningClaudes() {
    return runningClaudes(ProcessTable::system());
}

std::set<std::string> runningClaudeCwds() {
    std::set<std::string> cwds;
    for (auto& claude : runningClaudes())
        cwds.insert(std::move(claude.cwd));
    return cwds;
}

TerminalMatch detectTerminal(int32_t claudePid) {
    return detectTerminal(ProcessTable::system(), claudePid);
}

} // namespace ClaudeProcesses
