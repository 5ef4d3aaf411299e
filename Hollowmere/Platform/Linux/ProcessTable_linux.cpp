// SPDX-License-Identifier: MIT
// /proc backend. Paths are built in stack buffers and each fact costs one or two system calls:
// a walk reads the name and the executable link of every process, so this is the hot path.
#include "Platform/ProcessTable.h"

#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

// The kernel keeps 15 bytes of a process name.
constexpr size_t commLimit = 15;

struct ProcPath {
    char text[48];
};

ProcPath procPath(int32_t pid, const char* leaf) {
    ProcPath p;
    snprintf(p.text, sizeof p.text, "/proc/%d/%s", int(pid), leaf);
    return p;
}

// Reads the start of a small /proc file (one read is all procfs needs for these); nothing when
// it cannot be opened or is empty.
template <size_t limit> std::optional<std::string> readSmall(const ProcPath& path) {
    int fd = ::open(path.text, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    char buf[limit];
    ssize_t n = ::read(fd, buf, limit);
    ::close(fd);
    if (n <= 0)
        return std::nullopt;
    return std::string(buf, size_t(n));
}

std::optional<std::string> readLink(const ProcPath& path) {
    char buf[4096];
    ssize_t n = ::readlink(path.text, buf, sizeof buf);
    if (n <= 0 || size_t(n) >= sizeof buf)
        return std::nullopt;
    return std::string(buf, size_t(n));
}

std::string_view baseName(std::string_view path) {
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// A name the kernel cut at 15 bytes is the start of the real one; the executable's file name
// or argv[0] usually holds the rest ("gnome-terminal-" of "gnome-terminal-server").
std::string untruncated(int32_t pid, std::string comm) {
    if (auto exe = readLink(procPath(pid, "exe"))) {
        auto base = baseName(*exe);
        if (base.size() > comm.size() && base.starts_with(comm))
            return std::string(base);
    }
    if (auto cmdline = readSmall<4096>(procPath(pid, "cmdline"))) {
        auto base = baseName(std::string_view(cmdline->c_str()));
        if (base.size() > comm.size() && base.starts_with(comm))
            return std::string(base);
    }
    return comm;
}

class LinuxProcessTable final : public ProcessTable {
public:
    std::vector<int32_t> pids() const override {
        std::vector<int32_t> out;
        DIR* dir = ::opendir("/proc");
        if (!dir)
            return out;
        out.reserve(1024);
        while (const dirent* entry = ::readdir(dir)) {
            const char* s = entry->d_name;
            if (*s < '1' || *s > '9')
                continue;
            int64_t value = 0;
            for (; *s >= '0' && *s <= '9' && value <= INT32_MAX; ++s)
                value = value * 10 + (*s - '0');
            if (*s == '\0' && value <= INT32_MAX)
                out.push_back(int32_t(value));
        }
        ::closedir(dir);
        return out;
    }

    std::optional<std::string> name(int32_t pid) const override {
        auto comm = readSmall<64>(procPath(pid, "comm"));
        if (!comm)
            return std::nullopt;
        if (comm->ends_with('\n'))
            comm->pop_back();
        if (comm->size() == commLimit)
            return untruncated(pid, std::move(*comm));
        return comm;
    }

    std::optional<int32_t> parentPid(int32_t pid) const override {
        // "pid (name) state ppid ...": the name may hold spaces and parentheses, so the fields
        // start after the last ')'.
        auto stat = readSmall<1024>(procPath(pid, "stat"));
        if (!stat)
            return std::nullopt;
        auto close = stat->rfind(')');
        if (close == std::string::npos)
            return std::nullopt;
        char state = 0;
        int parent = 0;
        if (sscanf(stat->c_str() + close + 1, " %c %d", &state, &parent) != 2)
            return std::nullopt;
        return int32_t(parent);
    }

    std::optional<std::string> executablePath(int32_t pid) const override {
        // An executable replaced while it runs (an update) reads as "PATH (deleted)".
        auto path = readLink(procPath(pid, "exe"));
        constexpr std::string_view deleted = " (deleted)";
        if (path && path->ends_with(deleted))
            path->resize(path->size() - deleted.size());
        return path;
    }

    std::optional<std::string> currentDirectory(int32_t pid) const override {
        return readLink(procPath(pid, "cwd"));
    }

    std::vector<std::string> arguments(int32_t pid) const override {
        // The interpreter, its options and a script path fit well within this; a longer tail of
        // arguments is of no use to any decision.
        auto cmdline = readSmall<16384>(procPath(pid, "cmdline"));
        std::vector<std::string> args;
        if (!cmdline)
            return args;
        std::string_view rest(*cmdline);
        while (!rest.empty()) {
            const auto end = rest.find('\0');
            args.emplace_back(rest.substr(0, end));
            if (end == std::string_view::npos)
                break;
            rest.remove_prefix(end + 1);
        }
        return args;
    }
};

} // namespace

const ProcessTable& ProcessTable::system() {
    static const LinuxProcessTable table;
    return table;
}
