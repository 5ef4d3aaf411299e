// SPDX-License-Identifier: MIT
// One walk of the process table with 1,000 extra processes alive, against a reference that
// reads one small /proc file of every process (what `pgrep` does at least).
#include "Platform/ProcessTable.h"
#include "Sessions/RunningClaude.h"

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int sleeperCount = 1000;

// Sleepers live for the whole run; they are killed by pid when it ends.
class Sleepers {
public:
    Sleepers() {
        char program[] = "/bin/sleep";
        char seconds[] = "3600";
        char* argv[] = {program, seconds, nullptr};
        for (int i = 0; i < sleeperCount; ++i) {
            pid_t pid = 0;
            if (posix_spawn(&pid, program, nullptr, nullptr, argv, environ) == 0)
                m_pids.push_back(pid);
        }
    }
    ~Sleepers() {
        for (pid_t pid : m_pids)
            kill(pid, SIGKILL);
        for (pid_t pid : m_pids)
            waitpid(pid, nullptr, 0);
    }
    size_t size() const { return m_pids.size(); }

private:
    std::vector<pid_t> m_pids;
};

Sleepers& sleepers() {
    static Sleepers instance;
    return instance;
}

void referenceReadEveryStat(benchmark::State& state) {
    sleepers();
    for (auto _ : state) {
        size_t read = 0;
        for (int32_t pid : ProcessTable::system().pids()) {
            char path[48];
            snprintf(path, sizeof path, "/proc/%d/stat", int(pid));
            int fd = open(path, O_RDONLY | O_CLOEXEC);
            if (fd < 0)
                continue;
            char buf[1024];
            read += size_t(::read(fd, buf, sizeof buf) > 0);
            close(fd);
        }
        benchmark::DoNotOptimize(read);
    }
    state.counters["processes"] = double(ProcessTable::system().pids().size());
}

void runningClaudesWalk(benchmark::State& state) {
    sleepers();
    for (auto _ : state)
        benchmark::DoNotOptimize(ClaudeProcesses::runningClaudes());
    state.counters["processes"] = double(ProcessTable::system().pids().size());
}

} // namespace

BENCHMARK(referenceReadEveryStat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(runningClaudesWalk)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
