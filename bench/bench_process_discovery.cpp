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

// 1,000 sleepers for the whole run, killed by pid when it ends.
struct Sleepers {
    std::vector<pid_t> pids;
    Sleepers() {
        const char* argv[] = {"/bin/sleep", "3600", nullptr};
        for (pid_t pid = 0; pids.size() < 1000; pids.push_back(pid)) {
            if (posix_spawn(&pid, argv[0], nullptr, nullptr, const_cast<char**>(argv), environ))
                break;
        }
    }
    ~Sleepers() {
        for (pid_t pid : pids)
            kill(pid, SIGKILL);
        for (pid_t pid : pids)
            waitpid(pid, nullptr, 0);
    }
};

void sleepers() {
    static Sleepers instance;
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
