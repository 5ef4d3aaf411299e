// SPDX-License-Identifier: MIT
// Off the GUI thread: tmux, kitty and the X server each take a round trip or a process start.
// One worker, so a jump and the typing after it happen in the order asked.
#include "ClaudeIntegration/TerminalFocusService.h"

#include "ClaudeIntegration/TerminalFocusLinux.h"
#include "Platform/TerminalControl.h"

#include <QThreadPool>

namespace TerminalFocusService {

namespace {

QThreadPool& worker() {
    static QThreadPool pool;
    static const bool serial = (pool.setMaxThreadCount(1), true);
    Q_UNUSED(serial);
    return pool;
}

} // namespace

void jump(const Session& session) {
    worker().start([target = FocusTarget::from(session)] {
        LinuxTerminalFocus(LinuxTerminalControl::system()).jump(target);
    });
}

void sendKeystrokes(const QString& text, const Session& session) {
    worker().start([text, target = FocusTarget::from(session)] {
        LinuxTerminalFocus(LinuxTerminalControl::system()).sendKeystrokes(text, target);
    });
}

bool waitForIdle(int msecs) {
    return worker().waitForDone(msecs);
}

} // namespace TerminalFocusService
