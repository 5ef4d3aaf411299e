// SPDX-License-Identifier: MIT
// Finding running `claude` processes and the terminal each one runs in. No Qt: hollowmere-hook
// uses the same walk to describe its own ancestors.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

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
std::vector<RunningClaude> runningClaudes();
std::set<std::string> runningClaudeCwds();
TerminalMatch detectTerminal(int32_t claudePid);
} // namespace ClaudeProcesses
