// SPDX-License-Identifier: MIT
// The HUD's one steady cost: the brightness poll, 20 times a second, over a sysfs backlight
// folder. Reference: the two bare POSIX reads the poll cannot avoid.
#include "../tests/HUD/Daemons.h"
#include "../tests/HUD/Fakes.h"
#include "BenchSupport.h"
#include "HUD/BrightnessMonitor.h"
#include "Platform/Linux/Backlight_linux.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>

namespace {

struct Folder {
    QTemporaryDir dir;
    Folder() { Daemons::addBacklight(dir.path(), "intel_backlight", "raw", 96000, 48000); }
};

void BM_BrightnessPoll(benchmark::State& state) {
    Folder folder;
    TrustedKeys keys;
    BrightnessMonitor monitor(std::make_unique<SysfsBacklight>(folder.dir.path()), &keys);
    for (auto _ : state)
        monitor.checkChange();
    benchmark::DoNotOptimize(monitor.brightness());
}

void BM_TwoBareReads(benchmark::State& state) {
    Folder folder;
    const QByteArray max = (folder.dir.path() + "/intel_backlight/max_brightness").toLocal8Bit();
    const QByteArray value = (folder.dir.path() + "/intel_backlight/brightness").toLocal8Bit();
    char buffer[64];
    for (auto _ : state) {
        for (const QByteArray& path : {max, value}) {
            const int fd = ::open(path.constData(), O_RDONLY);
            benchmark::DoNotOptimize(::read(fd, buffer, sizeof buffer));
            ::close(fd);
        }
    }
}

} // namespace

BENCHMARK(BM_BrightnessPoll);
BENCHMARK(BM_TwoBareReads);

HOLLOWMERE_BENCHMARK_MAIN(QCoreApplication)
