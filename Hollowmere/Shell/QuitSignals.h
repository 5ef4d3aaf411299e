// SPDX-License-Identifier: MIT
// SIGTERM, SIGINT and SIGHUP (a logout, `systemctl --user stop`, Ctrl-C in a terminal) end the
// app the way Quit does: through the event loop, so nothing is cut off mid-write.
#pragma once

namespace QuitSignals {
// Call once, after the application object exists.
void install();
} // namespace QuitSignals
