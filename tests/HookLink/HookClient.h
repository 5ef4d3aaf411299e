// SPDX-License-Identifier: MIT
// A hook-side client for tests: connects, writes, and reads whatever comes back until the server
// closes. Blocking, so tests run it off the main thread while the store answers there.
#pragma once

#include <QtTest>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

struct HookReply {
    bool connected = false;
    std::string received; // everything before the end of the stream
    int readErrno = 0;    // set when the stream ended in an error rather than a clean close
};

enum class AfterWrite { keepOpen, shutDownWriting, closeAtOnce };

inline int connectTo(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

inline HookReply exchange(const std::string& path, const std::string& request,
                          AfterWrite after = AfterWrite::keepOpen) {
    HookReply reply;
    const int fd = connectTo(path);
    if (fd < 0)
        return reply;
    reply.connected = true;
    timeval guard{90, 0}; // a test that hangs should fail, not stall the suite
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &guard, sizeof guard);
    size_t written = 0;
    while (written < request.size()) {
        const ssize_t n =
            send(fd, request.data() + written, request.size() - written, MSG_NOSIGNAL);
        if (n <= 0)
            break;
        written += size_t(n);
    }
    if (after == AfterWrite::closeAtOnce) {
        close(fd);
        return reply;
    }
    if (after == AfterWrite::shutDownWriting)
        shutdown(fd, SHUT_WR);
    char buffer[4096];
    for (;;) {
        const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n > 0) {
            reply.received.append(buffer, size_t(n));
            continue;
        }
        if (n < 0)
            reply.readErrno = errno;
        break;
    }
    close(fd);
    return reply;
}

inline std::future<HookReply> exchangeAsync(std::string path, std::string request,
                                            AfterWrite after = AfterWrite::keepOpen) {
    return std::async(std::launch::async, [path = std::move(path), request = std::move(request),
                                           after] { return exchange(path, request, after); });
}

template <typename T> bool isReady(const std::future<T>& f) {
    return f.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}
