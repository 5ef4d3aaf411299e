// SPDX-License-Identifier: MIT
#include "BoundedIo.h"

#include <cerrno>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <unistd.h>

namespace {

// Waits until `fd` is ready for `events` (or hung up); false on time-out or error.
bool waitFor(int fd, short events, const Deadline& deadline) {
    for (;;) {
        int left = deadline.remainingMs();
        if (left == 0)
            return false;
        pollfd p{fd, events, 0};
        int n = ::poll(&p, 1, left);
        if (n > 0)
            return true;
        if (n < 0 && errno != EINTR)
            return false;
    }
}

// One read once `fd` is readable: bytes read, 0 at end of stream, -1 on error or time-out.
ssize_t readSome(int fd, char* buffer, size_t size, const Deadline& deadline) {
    for (;;) {
        if (!waitFor(fd, POLLIN, deadline))
            return -1;
        ssize_t n = ::read(fd, buffer, size);
        if (n >= 0)
            return n;
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK)
            return -1;
    }
}

bool endsWithClosingBrace(const std::string& text) {
    auto last = text.find_last_not_of(" \t\r\n");
    return last != std::string::npos && text[last] == '}';
}

} // namespace

int Deadline::remainingMs() const {
    using namespace std::chrono;
    auto left = duration_cast<microseconds>(m_end - steady_clock::now()).count();
    return left <= 0 ? 0 : int((left + 999) / 1000);
}

std::optional<std::string> readJsonInput(int fd, size_t limit, const Deadline& deadline) {
    std::string input;
    char buffer[64 * 1024];
    for (;;) {
        ssize_t n = readSome(fd, buffer, sizeof buffer, deadline);
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            return input;
        if (input.size() + size_t(n) > limit)
            return std::nullopt;
        input.append(buffer, size_t(n));
        // Only a chunk that ends the way a JSON object does is worth a parse.
        if (endsWithClosingBrace(input) && nlohmann::json::accept(input))
            return input;
    }
}

bool writeAll(int fd, std::string_view bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        if (!waitFor(fd, POLLOUT, deadline))
            return false;
        ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)
                continue;
            return false;
        }
        bytes.remove_prefix(size_t(n));
    }
    return true;
}

std::optional<std::string> readLine(int fd, size_t limit, const Deadline& deadline) {
    std::string line;
    char buffer[4096];
    for (;;) {
        ssize_t n = readSome(fd, buffer, sizeof buffer, deadline);
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            break;
        std::string_view chunk(buffer, size_t(n));
        auto feed = chunk.find('\n');
        line.append(chunk.substr(0, feed));
        if (line.size() > limit)
            return std::nullopt;
        if (feed != std::string_view::npos)
            break;
    }
    if (line.empty())
        return std::nullopt;
    return line;
}
