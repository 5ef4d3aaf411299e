// SPDX-License-Identifier: MIT
#pragma once
// Real daemons for the platform tests: each test process re-runs itself under
// tests/support/isolated.sh (private /tmp, loopback only), then starts what it needs there.

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "../support/Files.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <memory>

namespace Daemons {

// Generous: the machine may be busy building; nothing asserts on time.
inline constexpr int readyWaitMs = 30000;

// Re-executes this test under the isolation helper unless already inside it.
inline void isolate(char** argv) {
    if (qEnvironmentVariableIntValue("HOLLOWMERE_ISOLATED") == 1)
        return;
    const QByteArray script = qgetenv("HOLLOWMERE_SOURCE_DIR") + "/tests/support/isolated.sh";
    std::vector<char*> args{const_cast<char*>(script.constData())};
    for (char** a = argv; *a; ++a)
        args.push_back(*a);
    args.push_back(nullptr);
    execv(script.constData(), args.data());
    qFatal("cannot run %s", script.constData());
}

// A child process that is stopped with the test.
class Process {
public:
    Process(const QString& program, const QStringList& args,
            const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // Gone with the test even when the test is killed (a time-out), not left running.
        m_process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
        m_process.start(program, args);
        if (!m_process.waitForStarted(readyWaitMs))
            qWarning() << "cannot start" << program << m_process.errorString();
    }
    ~Process() {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    QProcess& process() { return m_process; }
    // The first line the process prints on standard output.
    QString firstLine() {
        QDeadlineTimer deadline(readyWaitMs);
        while (!m_process.canReadLine() && !deadline.hasExpired())
            m_process.waitForReadyRead(200);
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

private:
    QProcess m_process;
};

// Runs a command to completion; true when it exits 0.
inline bool run(const QString& program, const QStringList& args, QString* output = nullptr) {
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(readyWaitMs) || p.exitStatus() != QProcess::NormalExit)
        return false;
    if (output)
        *output = QString::fromUtf8(p.readAllStandardOutput());
    return p.exitCode() == 0;
}

// A private message bus made the process's system bus, before Qt first connects to it.
class SystemBus {
public:
    SystemBus() : m_daemon("dbus-daemon", {"--session", "--nofork", "--print-address=1"}) {
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_daemon.firstLine().toUtf8());
    }

private:
    Process m_daemon;
};

// Starts a python3-dbusmock template on the system bus and waits for its name.
inline std::unique_ptr<Process> startMock(const QString& templateName, const QString& busName) {
    auto mock = std::make_unique<Process>(
        "/usr/bin/python3", QStringList{"-m", "dbusmock", "--system", "--template", templateName});
    QDeadlineTimer deadline(readyWaitMs);
    auto* bus = QDBusConnection::systemBus().interface();
    while (!bus->isServiceRegistered(busName).value() && !deadline.hasExpired())
        QTest::qWait(100);
    if (!bus->isServiceRegistered(busName).value())
        qWarning() << "mock" << templateName << "did not come up";
    return mock;
}

// A PulseAudio daemon with two null sinks, "alpha" and "beta", listening at `socketName` under
// `dir`; this process (and every pactl it runs) finds it through PULSE_SERVER.
inline std::unique_ptr<Process> startPulseAudio(const QString& dir,
                                                const QString& socketName = "native") {
    const QString runtime = dir + "/run", home = dir + "/home";
    QDir().mkpath(runtime);
    QDir().mkpath(home);
    const QString socket = runtime + "/" + socketName;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", home);
    env.insert("XDG_RUNTIME_DIR", runtime);
    env.remove("PULSE_SERVER");
    auto pulse = std::make_unique<Process>(
        "pulseaudio",
        QStringList{"--daemonize=no", "--exit-idle-time=-1", "-n", "--use-pid-file=no",
                    "--disable-shm=yes", "--log-target=stderr", "--log-level=error",
                    "--load=module-native-protocol-unix auth-anonymous=1 socket=" + socket,
                    "--load=module-null-sink sink_name=alpha",
                    "--load=module-null-sink sink_name=beta"},
        env);
    qputenv("HOME", home.toUtf8());
    qputenv("PULSE_SERVER", ("unix:" + socket).toUtf8());
    QDeadlineTimer deadline(readyWaitMs);
    while (!run("pactl", {"info"}) && !deadline.hasExpired())
        QTest::qWait(100);
    return pulse;
}

// Calls a method of a mock on the system bus (by default of its org.freedesktop.DBus.Mock).
inline QDBusMessage callMock(const QString& service, const QString& path, const QString& method,
                             const QVariantList& args,
                             const QString& interface = "org.freedesktop.DBus.Mock") {
    auto message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(args);
    return QDBusConnection::systemBus().call(message, QDBus::Block, 10000);
}

// python3-dbusmock's logind with the session "auto", which gets the SetBrightness the template
// lacks: it writes the level into `sysfs`/<device>/brightness, as logind does.
inline std::unique_ptr<Process> startLogind(const QString& sysfs) {
    auto mock = startMock("logind", "org.freedesktop.login1");
    const QString login = "org.freedesktop.login1";
    const auto added = callMock(login, "/org/freedesktop/login1", "AddSession",
                                {"auto", "seat0", uint(0), "root", true});
    const QString code =
        QString("open('%1/' + args[1] + '/brightness', 'w').write('%d\\n' % args[2])").arg(sysfs);
    const auto method =
        callMock(login, "/org/freedesktop/login1/session/auto", "AddMethod",
                 {"org.freedesktop.login1.Session", "SetBrightness", "ssu", "", code});
    if (added.type() != QDBusMessage::ReplyMessage || method.type() != QDBusMessage::ReplyMessage)
        qWarning() << "logind mock not set up:" << added.errorMessage() << method.errorMessage();
    return mock;
}

// A backlight device folder as the kernel shows one under /sys/class/backlight.
inline void addBacklight(const QString& root, const QString& name, const char* type, int max,
                         int value) {
    writeBytes(root + '/' + name + "/type", QByteArray(type) + '\n');
    writeBytes(root + '/' + name + "/max_brightness", QByteArray::number(max) + '\n');
    writeBytes(root + '/' + name + "/brightness", QByteArray::number(value) + '\n');
}

// UPower's display device: a battery at `percentage` in `state` (1 charging, 2 discharging).
inline bool setupBattery(double percentage, uint state) {
    return callMock("org.freedesktop.UPower", "/org/freedesktop/UPower", "SetupDisplayDevice",
                    {uint(2), state, percentage, 30.0, 60.0, 10.0, qlonglong(3600), qlonglong(0),
                     true, QString("battery-good-symbolic"), uint(1)})
               .type() == QDBusMessage::ReplyMessage;
}

// Makes UPower announce `onBattery` and then answer nothing for `seconds`, as a stuck service.
inline void stallUPower(bool onBattery, double seconds) {
    const QString upower = "org.freedesktop.UPower", manager = "/org/freedesktop/UPower";
    callMock(upower, manager, "AddMethod",
             {upower, "Stall", "bd", "",
              "self.Set('org.freedesktop.UPower', 'OnBattery', dbus.Boolean(args[0]))\n"
              "self.connection.flush()\n"
              "time.sleep(args[1])"});
    auto stall = QDBusMessage::createMethodCall(upower, manager, upower, "Stall");
    stall.setArguments({onBattery, seconds});
    QDBusConnection::systemBus().send(stall);
}

} // namespace Daemons
