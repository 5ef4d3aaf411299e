// SPDX-License-Identifier: MIT
// /proc for environments and parents, bounded helper commands, and the X server over XCB. Safe to
// use from any one thread at a time: nothing here shares a connection or a handler.
#include "Platform/TerminalControl.h"

#include "Platform/Linux/BoundedCommand_linux.h"
#include "Platform/Linux/X11Desktop_linux.h"
#include "Platform/ProcessTable.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// A process's environment block is small; a bound keeps a hostile one from costing much.
constexpr qsizetype environLimit = 1 << 20;
constexpr int exchangeLimitMs = 1000;
constexpr qsizetype answerLimit = 1 << 16;

bool waitFor(int fd, short events, Clock::time_point deadline) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd p{fd, events, 0};
        const int ready = ::poll(&p, 1, int(left));
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

// A non-blocking connection to "unix:/path" or "unix:@abstract"; -1 when there is none at once.
int connectTo(const QString& listenOn) {
    if (!listenOn.startsWith(QLatin1String("unix:")))
        return -1;
    const QByteArray name = QFile::encodeName(listenOn.mid(5));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.isEmpty() || size_t(name.size()) >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    socklen_t length = sizeof address;
    if (name.startsWith('@')) {
        address.sun_path[0] = '\0'; // abstract: the name is exactly that long, no terminator
        length = socklen_t(offsetof(sockaddr_un, sun_path) + size_t(name.size()));
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

class LinuxSystemTerminalControl final : public LinuxTerminalControl {
public:
    std::optional<QByteArray> environ(int32_t pid) const override {
        const QByteArray path = "/proc/" + QByteArray::number(pid) + "/environ";
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return std::nullopt;
        QByteArray bytes;
        char buffer[8192];
        ssize_t n = 0;
        while (bytes.size() < environLimit && (n = ::read(fd, buffer, sizeof buffer)) > 0)
            bytes.append(buffer, n);
        ::close(fd);
        if (n < 0)
            return std::nullopt;
        return bytes;
    }

    std::optional<int32_t> parentPid(int32_t pid) const override {
        return ProcessTable::system().parentPid(pid);
    }

    std::optional<CommandResult> run(const QString& program, const QStringList& args,
                                     const TerminalRules::Environ& extraEnv) override {
        const auto result = BoundedCommand::run(program, args, extraEnv);
        if (!result)
            return std::nullopt;
        return CommandResult{result->exitCode, result->output};
    }

    std::optional<QByteArray> kittyExchange(const QString& listenOn,
                                            const QByteArray& request) override {
        const auto deadline = Clock::now() + std::chrono::milliseconds(exchangeLimitMs);
        const int fd = connectTo(listenOn);
        if (fd < 0)
            return std::nullopt;
        QByteArray answer;
        bool complete = false;
        for (qsizetype sent = 0; sent < request.size();) {
            if (!waitFor(fd, POLLOUT, deadline))
                break;
            const ssize_t n =
                ::send(fd, request.constData() + sent, size_t(request.size() - sent), MSG_NOSIGNAL);
            if (n <= 0 && errno != EINTR && errno != EAGAIN)
                break;
            sent += std::max<ssize_t>(n, 0);
            complete = sent == request.size();
        }
        if (complete && !TerminalRules::kittyAnswers(request)) {
            ::close(fd);
            return answer;
        }
        while (complete && !answer.endsWith(TerminalRules::kittyFrameEnd) &&
               answer.size() < answerLimit && waitFor(fd, POLLIN, deadline)) {
            char buffer[4096];
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN))
                break;
            answer.append(buffer, std::max<ssize_t>(n, 0));
        }
        ::close(fd);
        if (!answer.endsWith(TerminalRules::kittyFrameEnd))
            return std::nullopt;
        return answer;
    }

    std::vector<TerminalRules::WindowInfo> windows() override { return X11Desktop::windows(); }
    std::optional<uint64_t> topLevelWindow(uint64_t window) override {
        return X11Desktop::topLevelWindow(window);
    }
    bool activate(uint64_t window) override { return X11Desktop::activate(window); }
    bool typeInto(uint64_t window, const QString& line) override {
        return X11Desktop::typeInto(window, line);
    }
    void beep() override { X11Desktop::bell(); }
};

} // namespace

LinuxTerminalControl& LinuxTerminalControl::system() {
    static LinuxSystemTerminalControl control;
    return control;
}
