// SPDX-License-Identifier: MIT
// Reading and writing with a deadline: the hook must never hold Claude Code up for long, so no
// wait of it is unbounded.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds budget)
        : m_end(std::chrono::steady_clock::now() + budget) {}
    // Milliseconds left, rounded up so that a wait never spins on 0; 0 once passed.
    int remainingMs() const;

private:
    std::chrono::steady_clock::time_point m_end;
};

// Everything readable from `fd` up to end of stream. Nothing when more than `limit` bytes come,
// on a read error, or when the deadline passes before the input is complete. The input is
// taken as complete early once it holds a whole JSON document, for a writer that never closes.
std::optional<std::string> readJsonInput(int fd, size_t limit, const Deadline& deadline);

// Writes all of `bytes`; false on any failure or when the deadline passes. The caller ignores
// SIGPIPE, so a reader that went away is a failure, not a signal.
bool writeAll(int fd, std::string_view bytes, const Deadline& deadline);

// The bytes before the first line feed, or all of them when the stream ends first. Nothing on
// an error, an empty stream, more than `limit` bytes, or when the deadline passes.
std::optional<std::string> readLine(int fd, size_t limit, const Deadline& deadline);
