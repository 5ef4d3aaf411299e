// SPDX-License-Identifier: MIT
// The GUI thread's longest stall while the volume key is pressed ten times, with the three HUD
// monitors built as the app builds them over real services: a PulseAudio daemon, and UPower and
// logind (python3-dbusmock) on a private system bus. Reference, same run: the same presses while
// every service answers. Then the same with PulseAudio stopped (SIGSTOP), logind stopped, and
// UPower announcing a change and then answering nothing. Runs itself under
// tests/support/isolated.sh.
//   bench_gui_stall [--rounds N] [--presses N]
#include "../tests/HUD/Daemons.h"
#include "../tests/HUD/Fakes.h"
#include "../tests/support/LoopGaps.h"
#include "BenchSupport.h"
#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/VolumeMonitor.h"
#include "Platform/Linux/Backlight_linux.h"

#include <csignal>
#include <cstdio>

namespace {

constexpr int pressIntervalMs = 50; // about a held key's repeat rate
constexpr int tailMs = 1000;        // after the last press, for replies and their handling

struct Services {
    QTemporaryDir dir;
    std::unique_ptr<Daemons::Process> pulse;
    std::unique_ptr<Daemons::SystemBus> bus;
    std::unique_ptr<Daemons::Process> upower;
    std::unique_ptr<Daemons::Process> logind;

    Services() {
        pulse = Daemons::startPulseAudio(dir.path());
        Daemons::run("pactl", {"set-default-sink", "alpha"});
        Daemons::run("pactl", {"set-sink-volume", "alpha", "16384"});
        Daemons::addBacklight(backlight(), "acpi_video0", "firmware", 10000, 5000);
        bus = std::make_unique<Daemons::SystemBus>();
        upower = Daemons::startMock("upower", "org.freedesktop.UPower");
        Daemons::setupBattery(50.0, 2);
        logind = Daemons::startLogind(dir.path() + "/backlight");
    }
    QString backlight() const { return dir.path() + "/backlight"; }
    pid_t pid(Daemons::Process& p) { return pid_t(p.process().processId()); }
};

// One round: `presses` volume-up presses, one every pressIntervalMs, then a second for replies;
// the longest gap seen.
double round(SystemHUDSuppressor& keys, int presses) {
    LoopGaps gaps;
    for (int i = 0; i < presses; ++i)
        QTimer::singleShot(pressIntervalMs * i, QCoreApplication::instance(),
                           [&keys] { keys.handle(press(MediaKeys::soundUpCode)); });
    QTest::qWait(pressIntervalMs * presses + tailMs);
    return gaps.longestMs();
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("HOLLOWMERE_SOURCE_DIR"))
        qputenv("HOLLOWMERE_SOURCE_DIR", HOLLOWMERE_SOURCE_DIR_FALLBACK);
    Daemons::isolate(argv);
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    auto option = [&](const QString& name, int fallback) {
        const int at = int(args.indexOf(name));
        return at >= 0 && at + 1 < args.size() ? args[at + 1].toInt() : fallback;
    };
    const int rounds = std::max(1, option("--rounds", 5));
    const int presses = std::max(1, option("--presses", 10));

    Services services;
    TrustedKeys keys;
    VolumeMonitor volume(makeAudioOutput(), &keys);
    BrightnessMonitor brightness(std::make_unique<SysfsBacklight>(services.backlight()), &keys);
    BatteryMonitor battery;
    volume.start();
    brightness.start();
    battery.start();
    QTest::qWait(1000); // first answers in

    // The floor: the same loop, services answering, no key pressed.
    std::vector<double> idle, answering, stuck;
    for (int i = 0; i < rounds; ++i)
        idle.push_back(round(keys, 0));
    for (int i = 0; i < rounds; ++i) {
        Daemons::run("pactl", {"set-sink-volume", "alpha", "16384"});
        QTest::qWait(200);
        answering.push_back(round(keys, presses));
    }
    for (int i = 0; i < rounds; ++i) {
        Daemons::run("pactl", {"set-sink-volume", "alpha", "16384"});
        QTest::qWait(200);
        const double stallSeconds = (pressIntervalMs * presses + tailMs) / 1000.0 + 1;
        Daemons::stallUPower(i % 2 == 0, stallSeconds);
        ::kill(services.pid(*services.pulse), SIGSTOP);
        ::kill(services.pid(*services.logind), SIGSTOP);
        stuck.push_back(round(keys, presses));
        ::kill(services.pid(*services.pulse), SIGCONT);
        ::kill(services.pid(*services.logind), SIGCONT);
        QTest::qWait(int(stallSeconds * 1000));
    }

    const auto ref = Bench::spread(answering), bad = Bench::spread(stuck);
    std::printf("GUI thread's longest stall, %d volume-up presses %d ms apart, %d rounds "
                "(median, worst):\n",
                presses, pressIntervalMs, rounds);
    for (const auto& [name, gaps] : {std::pair{"no key pressed, services answering", idle},
                                     {"services answering (reference)", answering},
                                     {"PulseAudio stopped, D-Bus not answering", stuck}})
        std::printf("  %-42s %8.2f ms %8.2f ms\n", name, Bench::spread(gaps).median,
                    Bench::spread(gaps).worst);
    std::printf("  stopped / answering: %.2f (medians), %.2f (worst)\n", bad.median / ref.median,
                bad.worst / ref.worst);
    return 0;
}
