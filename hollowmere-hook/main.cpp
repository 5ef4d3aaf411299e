// SPDX-License-Identifier: MIT
// hollowmere-hook: run by Claude Code for PreToolUse or PermissionRequest, Notification and Stop.
// Forwards the event to the running app and prints the app's decision on a permission request.
// Whatever goes wrong (no app, no answer, bad input) it prints nothing and exits 0, which Claude
// Code takes as "no opinion": exactly as if no hook were installed.
#include "AppConnection.h"
#include "BoundedIo.h"
#include "HookInput.h"

#include "Platform/ProcessTable.h"
#include "Sessions/RunningClaude.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// Claude Code writes its input at once; a tool input (a whole file for Write) may be large.
constexpr size_t inputLimit = 32 * 1024 * 1024;
constexpr auto inputWait = 5s;
constexpr auto connectWait = 1s;
constexpr auto sendWait = 5s;
// The app answers a permission request within 25 s; past that it will not. Claude Code's own
// time-out for a hook is a minute.
constexpr auto decisionWait = 30s;
// Other events are answered at once; the answer carries nothing.
constexpr auto acknowledgementWait = 5s;

// Who ran the hook: the claude process above it and the terminal above that.
void describeProcesses(HookEvent& event) {
    const auto& table = ProcessTable::system();
    event.claudePid = ClaudeProcesses::claudeAncestor(table, int32_t(::getpid()));
    auto terminal =
        ClaudeProcesses::detectTerminal(table, event.claudePid.value_or(int32_t(::getpid())));
    event.terminalBundleId = std::move(terminal.bundleId);
    event.terminalPid = terminal.pid;
    if (const char* iTerm = std::getenv("ITERM_SESSION_ID"); iTerm && *iTerm)
        event.iTermSessionId = iTerm;
}

void run() {
    auto input = readJsonInput(STDIN_FILENO, inputLimit, Deadline(inputWait));
    if (!input)
        return;
    auto hookInput = readHookInput(*input, nowSinceReferenceDate());
    if (!hookInput)
        return;
    HookEvent& event = hookInput->event;
    // Connect before anything else costs time: with no app running the hook is done here.
    auto app = AppConnection::open(socketPath, Deadline(connectWait));
    if (!app)
        return;
    if (event.cwd.empty()) {
        char cwd[4096];
        if (::getcwd(cwd, sizeof cwd))
            event.cwd = cwd;
    }
    describeProcesses(event);

    const bool permission = event.kind == HookEvent::Kind::permissionRequest;
    auto answer = app->exchange(event.encode(), Deadline(sendWait),
                                Deadline(permission ? decisionWait : acknowledgementWait));
    if (!answer || !permission)
        return;
    auto decision = HookDecision::decode(*answer);
    if (!decision)
        return;
    auto output = claudeCodeAnswer(*hookInput, *decision);
    if (!output.empty())
        writeAll(STDOUT_FILENO, output, Deadline(sendWait));
}

} // namespace

int main() {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        run();
    } catch (...) {
        // No opinion, as for every other failure.
    }
    return 0;
}
