// SPDX-License-Identifier: MIT
// What terminal focus asks of the system, one interface per platform: facts and single actions,
// no decisions (those are in ClaudeIntegration/TerminalFocusRules). Tests hand the drivers fakes.
#pragma once

#include "ClaudeIntegration/TerminalFocusRules.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// Linux: the process table, remote-control commands and sockets, and the X server.
class LinuxTerminalControl {
public:
    virtual ~LinuxTerminalControl() = default;

    // The process's environment as the kernel keeps it (NUL-separated); nothing when unreadable.
    virtual std::optional<QByteArray> environ(int32_t pid) const = 0;
    virtual std::optional<int32_t> parentPid(int32_t pid) const = 0;

    struct CommandResult {
        int exitCode = -1;
        QByteArray output;
    };
    // Runs `program` from PATH with an argument vector (never a shell) for at most 1 s, its
    // output drained; nothing when the program is missing, cannot start or overran.
    virtual std::optional<CommandResult> run(const QString& program, const QStringList& args,
                                             const TerminalRules::Environ& extraEnv = {}) = 0;

    // Sends one kitty remote-control message to the socket KITTY_LISTEN_ON names and returns
    // kitty's framed answer (empty for a request kitty does not answer); nothing when it cannot
    // connect, send or, for an answered request, get the answer within 1 s.
    virtual std::optional<QByteArray> kittyExchange(const QString& listenOn,
                                                    const QByteArray& request) = 0;

    // The window manager's top-level windows; empty without an X server or window manager.
    virtual std::vector<TerminalRules::WindowInfo> windows() = 0;
    // The managed top-level window that contains `window`, if any.
    virtual std::optional<uint64_t> topLevelWindow(uint64_t window) = 0;
    // Asks the window manager to activate `window`, as a pager does, and waits (bounded) for it;
    // true when it became the active window.
    virtual bool activate(uint64_t window) = 0;
    // Types `line` and then Return with XTest, key by key, only while `window` is the active
    // window; false when it was not (or stopped being) active or keys cannot be sent.
    virtual bool typeInto(uint64_t window, const QString& line) = 0;
    // The desktop's bell (an XKB bell, which the desktop sounds or shows).
    virtual void beep() = 0;

    // The running system's (defined by the Linux backend).
    static LinuxTerminalControl& system();
};

// macOS: AppleScript, libproc, running applications and the accessibility tree.
class MacTerminalControl {
public:
    virtual ~MacTerminalControl() = default;

    // NSAppleScript initWithSource + executeAndReturnError; errors are ignored.
    virtual void runAppleScript(const QString& source) = 0;

    struct BsdInfo {
        int bytesReturned = 0; // what proc_pidinfo(PROC_PIDTBSDINFO) returned
        int64_t device = -1;   // e_tdev, the controlling terminal
    };
    virtual BsdInfo bsdInfo(int32_t pid) = 0;
    // devname(device, S_IFCHR): "ttys004"; empty when it has no name.
    virtual QString deviceName(int64_t device) = 0;

    // A running application, named by its process id.
    virtual std::optional<int32_t> applicationWithPid(int32_t pid) = 0;
    // The first running application with this bundle id.
    virtual std::optional<int32_t> applicationWithBundleId(const QString& bundleId) = 0;
    // activateWithOptions: all windows.
    virtual void activateAllWindows(int32_t applicationPid) = 0;
    // AXUIElementCreateApplication; nothing when it cannot be had.
    virtual std::unique_ptr<TerminalRules::AccessibleElement>
    accessibilityElement(int32_t applicationPid) = 0;
    // NSSound.beep.
    virtual void beep() = 0;
    // Runs `step` on the GUI thread after `msecs`.
    virtual void after(int msecs, std::function<void()> step) = 0;

    // The running system's (defined by the macOS backend).
    static MacTerminalControl& system();
};
