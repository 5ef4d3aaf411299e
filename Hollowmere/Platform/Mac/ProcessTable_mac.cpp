// SPDX-License-Identifier: MIT
// libproc backend: only raw facts, every decision is made by the shared walk.
#include "Platform/ProcessTable.h"

#include <algorithm>
#include <cstring>
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>

namespace {

std::optional<proc_bsdinfo> bsdInfo(int32_t pid) {
    proc_bsdinfo info{};
    int n = proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, int(sizeof info));
    if (n != int(sizeof info))
        return std::nullopt;
    return info;
}

class MacProcessTable final : public ProcessTable {
public:
    std::vector<int32_t> pids() const override {
        int count = proc_listallpids(nullptr, 0);
        if (count < 1)
            return {};
        // Room for processes started between the two calls.
        std::vector<pid_t> buffer(size_t(count) + 64);
        int listed = proc_listallpids(buffer.data(), int(buffer.size() * sizeof(pid_t)));
        if (listed < 1)
            return {};
        buffer.resize(std::min(size_t(listed), buffer.size()));
        return std::vector<int32_t>(buffer.begin(), buffer.end());
    }

    std::optional<std::string> name(int32_t pid) const override {
        auto info = bsdInfo(pid);
        if (!info)
            return std::nullopt;
        // pbi_name holds up to 32 bytes and need not be terminated; pbi_comm (16) is the fallback
        // for processes that never had a longer name set.
        size_t length = strnlen(info->pbi_name, sizeof info->pbi_name);
        if (length > 0)
            return std::string(info->pbi_name, length);
        return std::string(info->pbi_comm, strnlen(info->pbi_comm, sizeof info->pbi_comm));
    }

    std::optional<int32_t> parentPid(int32_t pid) const override {
        auto info = bsdInfo(pid);
        if (!info)
            return std::nullopt;
        return int32_t(info->pbi_ppid);
    }

    std::optional<std::string> executablePath(int32_t pid) const override {
        char buffer[PROC_PIDPATHINFO_MAXSIZE];
        int n = proc_pidpath(pid, buffer, sizeof buffer);
        if (n <= 0)
            return std::nullopt;
        return std::string(buffer, strnlen(buffer, sizeof buffer));
    }

    std::optional<std::string> currentDirectory(int32_t pid) const override {
        proc_vnodepathinfo paths{};
        int n = proc_pidinfo(pid, PROC_PIDVNODEPATHINFO, 0, &paths, int(sizeof paths));
        if (n != int(sizeof paths))
            return std::nullopt;
        const char* cwd = paths.pvi_cdir.vip_path;
        return std::string(cwd, strnlen(cwd, sizeof paths.pvi_cdir.vip_path));
    }

    std::vector<std::string> arguments(int32_t pid) const override {
        // KERN_PROCARGS2: argc, the executable path, padding, then argc strings (and the
        // environment, which is not read).
        std::vector<std::string> args;
        int argmax = 0;
        size_t size = sizeof argmax;
        int maxQuery[2] = {CTL_KERN, KERN_ARGMAX};
        if (sysctl(maxQuery, 2, &argmax, &size, nullptr, 0) != 0 || argmax <= int(sizeof(int)))
            return args;
        std::vector<char> buffer(size_t(argmax));
        size = buffer.size();
        int query[3] = {CTL_KERN, KERN_PROCARGS2, pid};
        if (sysctl(query, 3, buffer.data(), &size, nullptr, 0) != 0 || size <= sizeof(int))
            return args;
        int argc = 0;
        memcpy(&argc, buffer.data(), sizeof argc);
        const char* p = buffer.data() + sizeof argc;
        const char* end = buffer.data() + size;
        p = static_cast<const char*>(memchr(p, '\0', size_t(end - p)));
        while (p && p < end && *p == '\0')
            ++p;
        for (int i = 0; p && p < end && i < argc; ++i) {
            const char* stop = static_cast<const char*>(memchr(p, '\0', size_t(end - p)));
            args.emplace_back(p, stop ? stop : end);
            p = stop ? stop + 1 : end;
        }
        return args;
    }
};

} // namespace

const ProcessTable& ProcessTable::system() {
    static const MacProcessTable table;
    return table;
}
