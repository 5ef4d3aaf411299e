// SPDX-License-Identifier: MIT
// The hook's end of one exchange with the app over its Unix-domain socket.
#pragma once

#include "BoundedIo.h"

#include <optional>
#include <string>
#include <string_view>

class AppConnection {
public:
    // Connected to the app at `path`; nothing when no app listens there (no socket file, a
    // stale one, a full queue until the deadline) or when the listener runs as another user:
    // a stranger gets nothing, not even the event.
    static std::optional<AppConnection> open(const char* path, const Deadline& deadline);

    AppConnection(AppConnection&& other) noexcept : m_fd(other.m_fd) { other.m_fd = -1; }
    AppConnection& operator=(AppConnection&&) = delete;
    ~AppConnection();

    // Sends `line` with its line feed and returns the answer line; nothing on any failure.
    std::optional<std::string> exchange(std::string line, const Deadline& sendBy,
                                        const Deadline& answerBy);

private:
    explicit AppConnection(int fd) : m_fd(fd) {}
    int m_fd = -1;
};
