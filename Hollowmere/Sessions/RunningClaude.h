// SPDX-License-Identifier: MIT
// Finding running `claude` processes and the terminal each one runs in. No Qt: hollowmere-hook
// uses the same walk to describe its own ancestors.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class ProcessTable;

struct RunningClaude {
    int32_t pid = 0;
    std::string cwd;
    std::optional<std::string> terminalBundleId;
    std::optional<int32_t> terminalPid;
};

struct TerminalMatch {
    std::optional<std::string> bundleId;
    std::optional<int32_t> pid;
};

namespace ClaudeProcesses {
// The system's process table.
std::vector<RunningClaude> runningClaudes();
std::set<std::string> runningClaudeCwds();
TerminalMatch detectTerminal(int32_t claudePid);

// The same walks over a given table.
std::vector<RunningClaude> runningClaudes(const ProcessTable& table);
TerminalMatch detectTerminal(const ProcessTable& table, int32_t claudePid);
// The nearest of at most 10 ancestors of `pid` that counts as a `claude` process.
std::optional<int32_t> claudeAncestor(const ProcessTable& table, int32_t pid);

// The application id of a terminal by its process name (exact, case-sensitive), if known.
std::optional<std::string> terminalBundleId(std::string_view processName);
} // namespace ClaudeProcesses
