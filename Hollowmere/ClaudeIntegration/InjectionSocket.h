// SPDX-License-Identifier: MIT
// The per-session socket through which the hook side can feed a line to its session directly.
// The app is only ever a client: connect, send one line, close.
#pragma once

#include <QString>

namespace InjectionSocket {

// "/tmp/hollowmere-inject-" + session id + ".sock"; empty for an id that cannot name a file there.
QString path(const QString& sessionId);

// Sends `line` + LF in one send; true only when a socket was there, took the connection at once
// and took every byte.
bool injectViaDaemon(const QString& sessionId, const QString& line);

} // namespace InjectionSocket
