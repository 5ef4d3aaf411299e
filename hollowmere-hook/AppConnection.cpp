// SPDX-License-Identifier: MIT
#include "AppConnection.h"

#include "Platform/PeerCredentials.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

// An answer is one small JSON object; anything longer is not one.
constexpr size_t answerLimit = 64 * 1024;

int nonBlockingSocket() {
    int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return -1;
    int flags = ::fcntl(fd, F_GETFL);
    if (::fcntl(fd, F_SETFD, FD_CLOEXEC) != 0 || flags < 0 ||
        ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Where a system completes the connection later, waits for it to finish.
bool connected(int fd, const Deadline& deadline) {
    pollfd p{fd, POLLOUT, 0};
    if (::poll(&p, 1, deadline.remainingMs()) != 1)
        return false;
    int error = 0;
    socklen_t length = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

} // namespace

std::optional<AppConnection> AppConnection::open(const char* path, const Deadline& deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path)
        return std::nullopt;
    std::strcpy(address.sun_path, path);

    AppConnection connection(nonBlockingSocket());
    if (connection.m_fd < 0)
        return std::nullopt;
    for (;;) {
        if (::connect(connection.m_fd, reinterpret_cast<const sockaddr*>(&address),
                      sizeof address) == 0)
            break;
        // A full listen queue: the app is busy, not gone; try again until the deadline.
        if (errno == EAGAIN && deadline.remainingMs() > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            continue;
        }
        if (errno == EINPROGRESS && connected(connection.m_fd, deadline))
            break;
        return std::nullopt;
    }
    auto uid = peerUid(connection.m_fd);
    if (!uid || *uid != ::geteuid())
        return std::nullopt;
    return connection;
}

AppConnection::~AppConnection() {
    if (m_fd >= 0)
        ::close(m_fd);
}

std::optional<std::string> AppConnection::exchange(std::string line, const Deadline& sendBy,
                                                   const Deadline& answerBy) {
    line.push_back('\n');
    if (!writeAll(m_fd, line, sendBy))
        return std::nullopt;
    return readLine(m_fd, answerLimit, answerBy);
}
