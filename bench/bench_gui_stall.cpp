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
#include "HUD/BatteryMonitor.h"
#include "HUD/BrightnessMonitor.h"
#include "HUD/MediaKeys.h"
#include "HUD/SystemHUDSuppressor.h"
#include "HUD/VolumeMonitor.h"
#include "Platform/Linux/Backlight_linux.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <vector>

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
        const QString sysfs = dir.path() + "/backlight/acpi_video0";
        QDir().mkpath(sysfs);
        for (const auto& [file, value] :
             {std::pair{"type", "firmware"}, {"max_brightness", "10000"}, {"brightness", "5000"}}) {
            QFile f(sysfs + '/' + file);
            f.open(QIODevice::WriteOnly);
            f.write(QByteArray(value) + '\n');
        }
        bus = std::make_unique<Daemons::SystemBus>();
        upower = Daemons::startMock("upower", "org.freedesktop.UPower");
        const QString upowerName = "org.freedesktop.UPower", manager = "/org/freedesktop/UPower";
        Daemons::callMock(upowerName, manager, "SetupDisplayDevice",
                          {uint(2), uint(2), 50.0, 30.0, 60.0, 10.0, qlonglong(3600), qlonglong(0),
                           true, QString("battery-good-symbolic"), uint(1)});
        // Announces a change of OnBattery, then answers nothing for the given seconds.
        Daemons::callMock(
            upowerName, manager, "AddMethod",
            {upowerName, "Stall", "bd", "",
             "self.Set('org.freedesktop.UPower', 'OnBattery', dbus.Boolean(args[0]))\n"
             "self.connection.flush()\n"
             "time.sleep(args[1])"});
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
        QTimer::singleShot(pressIntervalMs * i, QCoreApplication::instance(), [&keys] {
            keys.handle(MediaKeys::auxKeyEvent(MediaKeys::soundUpCode, MediaKeys::keyDownState));
        });
    QTest::qWait(pressIntervalMs * presses + tailMs);
    return gaps.longestMs();
}

struct Figures {
    double median = 0, worst = 0;
};

Figures summarise(std::vector<double> gaps) {
    std::sort(gaps.begin(), gaps.end());
    return {gaps[gaps.size() / 2], gaps.back()};
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
    SystemHUDSuppressor keys(std::make_unique<FakeMediaKeyTap>(), [](bool) { return true; });
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
        auto stall = QDBusMessage::createMethodCall(
            "org.freedesktop.UPower", "/org/freedesktop/UPower", "org.freedesktop.UPower", "Stall");
        const double stallSeconds = (pressIntervalMs * presses + tailMs) / 1000.0 + 1;
        stall.setArguments({i % 2 == 0, stallSeconds});
        QDBusConnection::systemBus().send(stall);
        ::kill(services.pid(*services.pulse), SIGSTOP);
        ::kill(services.pid(*services.logind), SIGSTOP);
        stuck.push_back(round(keys, presses));
        ::kill(services.pid(*services.pulse), SIGCONT);
        ::kill(services.pid(*services.logind), SIGCONT);
        QTest::qWait(int(stallSeconds * 1000));
    }

    const Figures quiet = summarise(idle), ref = summarise(answering), bad = summarise(stuck);
    std::printf("GUI thread's longest stall, %d volume-up presses %d ms apart, %d rounds "
                "(median, worst):\n",
                presses, pressIntervalMs, rounds);
    std::printf("  no key pressed, services answering:       %8.2f ms %8.2f ms\n", quiet.median,
                quiet.worst);
    std::printf("  services answering (reference):           %8.2f ms %8.2f ms\n", ref.median,
                ref.worst);
    std::printf("  PulseAudio stopped, D-Bus not answering:  %8.2f ms %8.2f ms\n", bad.median,
                bad.worst);
    std::printf("  stopped / answering: %.2f (medians), %.2f (worst)\n", bad.median / ref.median,
                bad.worst / ref.worst);
    std::printf("  each round (idle | answering | stopped):");
    for (std::size_t i = 0; i < answering.size(); ++i)
        std::printf(" %.1f|%.1f|%.1f", idle[i], answering[i], stuck[i]);
    std::printf(" ms\n");
    return 0;
}
