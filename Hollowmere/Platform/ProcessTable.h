// SPDX-License-Identifier: MIT
// The facts process discovery needs of each process, read from the system on demand. No Qt: the
// hook executable walks its own ancestors with it. Each call reads only its own fact, so a walk
// over every process pays for a path or a directory only where it needs one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ProcessTable {
public:
    virtual ~ProcessTable() = default;

    // Every process alive now, in the system's order; empty when the table cannot be read.
    virtual std::vector<int32_t> pids() const = 0;
    // The untruncated short name ("claude", "gnome-terminal-server"); nothing when the process
    // is gone or not readable. Every other fact below is nothing in the same cases.
    virtual std::optional<std::string> name(int32_t pid) const = 0;
    virtual std::optional<int32_t> parentPid(int32_t pid) const = 0;
    virtual std::optional<std::string> executablePath(int32_t pid) const = 0;
    virtual std::optional<std::string> currentDirectory(int32_t pid) const = 0;
    // The command line, argv[0] first, as far as the system keeps it; empty when unreadable.
    virtual std::vector<std::string> arguments(int32_t /*pid*/) const { return {}; }

    // The running system's table (defined by the backend of this platform); stateless, so it
    // may be used from any thread.
    static const ProcessTable& system();
};
