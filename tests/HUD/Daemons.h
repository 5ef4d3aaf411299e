// SPDX-License-Identifier: MIT
#pragma once
// Real daemons for the platform tests: each test process re-runs itself under
// tests/support/isolated.sh (private /tmp, loopback only), then starts what it needs there.

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

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
        m_address = m_daemon.firstLine();
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toUtf8());
    }
    QString address() const { return m_address; }

private:
    Process m_daemon;
    QString m_address;
};

// Starts a python3-dbusmock template on the system bus and waits for its name.
inline std::unique_ptr<Process> startMock(const QString& templateName, const QString& busName,
                                          const QString& parameters = {}) {
    QStringList args{"-m", "dbusmock", "--system", "--template", templateName};
    if (!parameters.isEmpty())
        args << "--parameters" << parameters;
    auto mock = std::make_unique<Process>("/usr/bin/python3", args);
    QDeadlineTimer deadline(readyWaitMs);
    auto* bus = QDBusConnection::systemBus().interface();
    while (!bus->isServiceRegistered(busName).value() && !deadline.hasExpired())
        QTest::qWait(100);
    if (!bus->isServiceRegistered(busName).value())
        qWarning() << "mock" << templateName << "did not come up";
    return mock;
}

} // namespace Daemons
