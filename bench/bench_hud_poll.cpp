// SPDX-License-Identifier: MIT
// The HUD's one steady cost: the brightness poll, 20 times a second, over a sysfs backlight
// folder. Reference: the two bare POSIX reads the poll cannot avoid.
#include "HUD/BrightnessMonitor.h"
#include "HUD/SystemHUDSuppressor.h"
#include "Platform/Linux/Backlight_linux.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

class NoTap : public MediaKeyTap {
public:
    bool install(Handler) override { return false; }
};

struct Folder {
    QTemporaryDir dir;
    Folder() {
        QDir(dir.path()).mkdir("intel_backlight");
        for (const auto& [file, text] : {std::pair{"type", "raw\n"},
                                         {"max_brightness", "96000\n"},
                                         {"brightness", "48000\n"}}) {
            QFile f(dir.path() + "/intel_backlight/" + file);
            f.open(QIODevice::WriteOnly);
            f.write(text);
        }
    }
};

void BM_BrightnessPoll(benchmark::State& state) {
    Folder folder;
    SystemHUDSuppressor keys(std::make_unique<NoTap>(), [](bool) { return true; });
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

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
