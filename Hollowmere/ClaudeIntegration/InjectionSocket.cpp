// SPDX-License-Identifier: MIT
#include "ClaudeIntegration/InjectionSocket.h"

#include "Platform/QuietSend.h"

#include <QFile>
#include <QFileInfo>

#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace InjectionSocket {

QString path(const QString& sessionId) {
    if (sessionId.isEmpty() || sessionId.contains(QLatin1Char('/')) ||
        sessionId.contains(QChar(0)) || sessionId == QLatin1String("..") ||
        sessionId == QLatin1String("."))
        return {};
    return QStringLiteral("/tmp/hollowmere-inject-") + sessionId + QStringLiteral(".sock");
}

bool injectViaDaemon(const QString& sessionId, const QString& line) {
    const QString socketPath = path(sessionId);
    if (socketPath.isEmpty() || !QFileInfo::exists(socketPath))
        return false;
    const QByteArray name = QFile::encodeName(socketPath);
    sockaddr_un address{};
    if (size_t(name.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));

    // Non-blocking: a server that does not accept (a full backlog) must not hold the GUI thread.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    // sizeof address is the 106 bytes macOS expects.
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        return false;
    }
    const QByteArray bytes = line.toUtf8() + '\n';
    const ssize_t sent = sendWithoutSignal(fd, bytes.constData(), size_t(bytes.size()));
    ::close(fd);
    return sent == bytes.size();
}

} // namespace InjectionSocket
