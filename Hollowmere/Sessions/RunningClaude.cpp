// SPDX-License-Identifier: MIT
#include "Sessions/RunningClaude.h"

#include "Platform/ProcessTable.h"

#include <climits>
#include <cstdlib>
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

std::string_view baseName(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view folderOf(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

// The native executable: "claude", "claude.exe" where npm puts it, or a version file of the
// native installer (".../claude/versions/2.1.3").
bool isClaudeExecutable(std::string_view path) {
    const auto base = baseName(path);
    if (base == "claude" || base == "claude.exe")
        return true;
    const auto versions = folderOf(path);
    return baseName(versions) == "versions" && baseName(folderOf(versions)) == "claude";
}

// An entry script of the npm package ("cli.js" of the versions that run on Node). The package's
// "cli-wrapper.cjs" only starts the native executable, which is counted by itself.
bool isEntryScript(std::string_view path) {
    constexpr std::string_view package = "/node_modules/@anthropic-ai/claude-code/";
    const auto at = path.rfind(package);
    if (at == std::string_view::npos)
        return false;
    const auto file = path.substr(at + package.size());
    return file.find('/') == std::string_view::npos && file.starts_with("cli.");
}

bool isScriptRuntime(std::string_view executable) {
    const auto base = baseName(executable);
    return base == "node" || base == "nodejs" || base == "bun";
}

// The script a JavaScript runtime was started with: its first argument that is not an option,
// with links resolved (npm's "bin/claude" is a link into the package).
std::optional<std::string> scriptOf(const ProcessTable& table, int32_t pid) {
    const auto args = table.arguments(pid);
    for (std::size_t i = 1; i < args.size(); ++i) {
        if (args[i].empty() || args[i][0] == '-')
            continue;
        std::string script = args[i];
        if (script[0] != '/') {
            const auto cwd = table.currentDirectory(pid);
            if (!cwd)
                return std::nullopt;
            script = *cwd + '/' + script;
        }
        if (isEntryScript(script))
            return script;
        char resolved[PATH_MAX];
        if (::realpath(script.c_str(), resolved))
            return std::string(resolved);
        return script;
    }
    return std::nullopt;
}

// Claude Code by its executable or its package's entry script; not every path that merely
// passes through a folder named "claude" (~/claude-notes/bin/vim). The name is read first, the
// executable only when it does not decide, the arguments only of JavaScript runtimes.
bool isClaude(const ProcessTable& table, int32_t pid, std::string_view name) {
    if (name == "claude" || name == "claude.exe")
        return true;
    const auto executable = table.executablePath(pid);
    if (!executable)
        return false;
    if (isClaudeExecutable(*executable))
        return true;
    if (!isScriptRuntime(*executable))
        return false;
    const auto script = scriptOf(table, pid);
    return script && isEntryScript(*script);
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
