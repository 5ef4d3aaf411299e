// SPDX-License-Identifier: MIT
// Bringing a session's terminal to the front ("jump") and typing a line into that session. Called
// on the GUI thread from the notch's session rows and prompt card; nothing here reports errors:
// a terminal that cannot be found gets the system beep, a line that cannot be delivered safely is
// not typed anywhere.
#pragma once

#include <QString>

#include <optional>

struct Session;

namespace TerminalFocusService {

// Focus the session's terminal window, tab or pane.
void jump(const Session& session);

// Deliver one line of text to the session and show it. A trailing two-character "\r" (or a real
// CR or LF) stands for the Return that ends the line; everything else is typed literally.
void sendKeystrokes(const QString& text, const Session& session);

// The terminal's name for the session views: nothing without an id, the known name, else
// "Terminal".
std::optional<QString> terminalLabel(const std::optional<QString>& bundleId);

// The symbol the session views show for the terminal.
QString terminalIcon(const std::optional<QString>& bundleId);

// Waits up to `msecs` for focus work still under way (on Linux it runs off the GUI thread); true
// when none is left. For quitting and for tests.
bool waitForIdle(int msecs);

} // namespace TerminalFocusService
