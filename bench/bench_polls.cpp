// SPDX-License-Identifier: MIT
// What the app repeats while idle, each beside the least any such poll must do, same run: one
// walk of the process table with 1,000 extra processes alive (reference: reading /proc/PID/stat
// of every process, what `pgrep` does at least), and the brightness poll, 20 times a second,
// over a sysfs backlight folder (reference: the two bare POSIX reads it cannot avoid).
#include "../tests/HUD/Daemons.h"
#include "../tests/HUD/Fakes.h"
#include "BenchSupport.h"
#include "HUD/BrightnessMonitor.h"
#include "Platform/Linux/Backlight_linux.h"
#include "Platform/ProcessTable.h"
#include "Sessions/RunningClaude.h"

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace {

// Open, read, close: the least a poll of one file does.
bool readOnce(const char* path) {
    char buffer[1024];
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool read = ::read(fd, buffer, sizeof buffer) > 0;
    ::close(fd);
    return read;
}

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

void processTable(benchmark::State& state, bool reference) {
    static Sleepers sleepers;
    for (auto _ : state) {
        if (!reference) {
            benchmark::DoNotOptimize(ClaudeProcesses::runningClaudes());
            continue;
        }
        std::size_t read = 0;
        for (int32_t pid : ProcessTable::system().pids()) {
            char path[48];
            std::snprintf(path, sizeof path, "/proc/%d/stat", int(pid));
            read += readOnce(path);
        }
        benchmark::DoNotOptimize(read);
    }
    state.counters["processes"] = double(ProcessTable::system().pids().size());
}

void brightnessPoll(benchmark::State& state, bool reference) {
    QTemporaryDir dir;
    Daemons::addBacklight(dir.path(), "intel_backlight", "raw", 96000, 48000);
    TrustedKeys keys;
    BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(dir.path()), &keys);
    const QByteArray device = (dir.path() + "/intel_backlight/").toLocal8Bit();
    const QByteArray max = device + "max_brightness", value = device + "brightness";
    for (auto _ : state) {
        if (reference)
            benchmark::DoNotOptimize(readOnce(max.constData()) + readOnce(value.constData()));
        else
            monitor.checkChange();
    }
}

} // namespace

BENCHMARK_CAPTURE(processTable, Reference_ReadEveryStat, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(processTable, RunningClaudes, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(brightnessPoll, Reference_TwoBareReads, true);
BENCHMARK_CAPTURE(brightnessPoll, CheckChange, false);

HOLLOWMERE_BENCHMARK_MAIN(QCoreApplication)
