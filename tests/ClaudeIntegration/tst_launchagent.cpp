// SPDX-License-Identifier: MIT
// Start at login and relaunch over a temporary home: the files each scheme writes, read back by
// the real parsers (Python's plistlib, systemd-analyze, desktop-file-validate), the tools run in
// their order, and a relaunch that starts the new copy only after the old one is gone.
#include "ClaudeIntegration/AppRelauncher.h"
#include "ClaudeIntegration/LaunchAgentService.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "../support/Files.h"

using LaunchAgentService::Context;
using LaunchAgentService::Scheme;

namespace {

struct Fixture {
    QTemporaryDir dir;
    QList<QStringList> ran;
    QMap<QString, int> status; // "systemctl is-active" etc. → exit status; 0 when absent
    Context context;

    explicit Fixture(Scheme scheme, const QString& executableName = QStringLiteral("hollowmere")) {
        context.scheme = scheme;
        context.home = dir.filePath("home");
        context.configHome = dir.filePath("home/.config");
        context.executable = dir.filePath("app dir/100%/") + executableName;
        writeBytes(context.executable, "#!/bin/sh\n");
        QFile::setPermissions(context.executable, QFile::ReadOwner | QFile::ExeOwner);
        context.run = [this](const QStringList& args) {
            ran.append(args);
            const QString key = args.value(0) + u' ' + args.value(2);
            return status.value(key, 0);
        };
    }
    QString home(const QString& rel) const { return context.home + u'/' + rel; }
};

// Runs a checker; its exit status and what it said.
std::pair<int, QString> check(const QString& program, const QStringList& args) {
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    p.waitForFinished(30000);
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
            QString::fromUtf8(p.readAll())};
}

const QString agent = QStringLiteral("Library/LaunchAgents/app.hollowmere.agent.plist");
const QString unit = QStringLiteral(".config/systemd/user/hollowmere.service");
const QString autostart = QStringLiteral(".config/autostart/hollowmere.desktop");

} // namespace

class TestLaunchAgent : public QObject {
    Q_OBJECT
private slots:
    void launchdWritesThePlistAndReloads() {
        Fixture f(Scheme::launchd, QStringLiteral("Hollow & <mere>"));
        const QString plist = f.home(agent);
        QVERIFY(!LaunchAgentService::isInstalled(f.context));
        QVERIFY(LaunchAgentService::uninstall(f.context));
        QVERIFY(f.ran.isEmpty()); // nothing to unload

        for (int round = 0; round < 2; ++round) { // the second overwrites and reloads again
            f.ran.clear();
            QVERIFY(LaunchAgentService::install(f.context));
            const QList<QStringList> expected = {{"/bin/launchctl", "unload", plist},
                                                 {"/bin/launchctl", "load", plist}};
            QCOMPARE(f.ran, expected);
        }
        QVERIFY(LaunchAgentService::isInstalled(f.context));

        const QString script = QStringLiteral(
            "import plistlib, sys; d = plistlib.load(open(sys.argv[1], 'rb'));"
            "want = {'Label': 'app.hollowmere.agent', 'ProgramArguments': [sys.argv[2]],"
            " 'RunAtLoad': True, 'KeepAlive': {'Crashed': True, 'SuccessfulExit': False},"
            " 'StandardOutPath': '/tmp/hollowmere.out.log',"
            " 'StandardErrorPath': '/tmp/hollowmere.err.log'};"
            "sys.exit(0 if d == want else print(d) or 1)");
        const auto [code, said] = check("python3", {"-c", script, plist, f.context.executable});
        QVERIFY2(code == 0, qPrintable(said));

        f.ran.clear();
        QVERIFY(LaunchAgentService::uninstall(f.context));
        QCOMPARE(f.ran, QList<QStringList>({{"/bin/launchctl", "unload", plist}}));
        QVERIFY(!QFileInfo::exists(plist));
        QVERIFY(!LaunchAgentService::isInstalled(f.context));

        // A file where the folder must go: nothing is loaded.
        QVERIFY(QDir(f.home("Library/LaunchAgents")).removeRecursively());
        writeBytes(f.home("Library/LaunchAgents"), {});
        f.ran.clear();
        QVERIFY(!LaunchAgentService::install(f.context));
        QVERIFY(f.ran.isEmpty());
        QVERIFY(!LaunchAgentService::isInstalled(f.context));
    }

    void freedesktopChoosesUnitOrAutostart_data() {
        QTest::addColumn<int>("graphicalSession"); // exit status of is-active
        QTest::addColumn<int>("enable");
        QTest::addColumn<QString>("executableName");
        QTest::addColumn<QString>("expectedFile");
        QTest::newRow("user manager runs the session") << 0 << 0 << "hollowmere" << unit;
        QTest::newRow("no user manager") << 3 << 0 << "hollowmere" << autostart;
        QTest::newRow("enable fails") << 0 << 1 << "hollowmere" << autostart;
        QTest::newRow("path systemd cannot run") << 0 << 0 << "hollow\"mere" << autostart;
    }

    void freedesktopChoosesUnitOrAutostart() {
        QFETCH(int, graphicalSession);
        QFETCH(int, enable);
        QFETCH(QString, executableName);
        QFETCH(QString, expectedFile);
        Fixture f(Scheme::freedesktop, executableName);
        f.status["systemctl is-active"] = graphicalSession;
        f.status["systemctl enable"] = enable;

        QVERIFY(LaunchAgentService::install(f.context));
        QVERIFY(LaunchAgentService::isInstalled(f.context));
        const QString other = expectedFile == unit ? autostart : unit;
        QVERIFY(QFileInfo::exists(f.home(expectedFile)));
        QVERIFY(!QFileInfo::exists(f.home(other)));
        const QString file = f.home(expectedFile);
        if (expectedFile == unit) {
            const QList<QStringList> expected = {
                {"systemctl", "--user", "is-active", "--quiet", "graphical-session.target"},
                {"systemctl", "--user", "daemon-reload"},
                {"systemctl", "--user", "enable", "hollowmere.service"}};
            QCOMPARE(f.ran, expected);
            QVERIFY(readBytes(file).contains("Restart=on-failure\n"));
            const auto [code, said] = check("systemd-analyze", {"verify", file});
            QVERIFY2(code == 0, qPrintable(said));
        } else {
            if (graphicalSession != 0)
                QCOMPARE(f.ran.size(), 1); // asked, and left systemd alone
            const auto [code, said] = check("desktop-file-validate", {file});
            QVERIFY2(code == 0 && said.isEmpty(), qPrintable(said));
        }

        f.ran.clear();
        QVERIFY(LaunchAgentService::uninstall(f.context));
        QVERIFY(!LaunchAgentService::isInstalled(f.context));
        const bool disabled =
            f.ran.contains(QStringList{"systemctl", "--user", "disable", "hollowmere.service"});
        QCOMPARE(disabled, expectedFile == unit);
    }

    // The session changed between two installs: one mechanism stays, never both.
    void reinstallMovesBetweenMechanisms() {
        Fixture f(Scheme::freedesktop);
        QVERIFY(LaunchAgentService::install(f.context));
        QVERIFY(QFileInfo::exists(f.home(unit)));
        f.status["systemctl is-active"] = 3;
        QVERIFY(LaunchAgentService::install(f.context));
        QVERIFY(QFileInfo::exists(f.home(autostart)) && !QFileInfo::exists(f.home(unit)));
        QVERIFY(
            f.ran.contains(QStringList{"systemctl", "--user", "disable", "hollowmere.service"}));
    }

    // The desktop entry's Exec, unquoted as a desktop does it, gives the path back.
    void autostartExecRoundTrips() {
        Fixture f(Scheme::freedesktop, QStringLiteral("holl$ow `mere\\"));
        f.status["systemctl is-active"] = 3;
        QVERIFY(LaunchAgentService::install(f.context));
        // Read as a desktop does: the key's string escapes, then the quoting rules of Exec.
        const QString script = QStringLiteral(
            "import configparser, re, sys\n"
            "p = configparser.RawConfigParser(interpolation=None); p.optionxform = str\n"
            "p.read(sys.argv[1])\n"
            "v = p['Desktop Entry']['Exec'].replace('%%', '%')\n"
            "v = re.sub(r'\\\\(.)', r'\\1', v)\n"
            "assert v[0] == v[-1] == '\"', v\n"
            "arg = re.sub(r'\\\\([\"`$\\\\])', r'\\1', v[1:-1])\n"
            "sys.exit(0 if arg == sys.argv[2] else print(repr(v), repr(arg)) or 1)\n");
        const auto [code, said] =
            check("python3", {"-c", script, f.home(autostart), f.context.executable});
        QVERIFY2(code == 0, qPrintable(said));
    }

    void runReportsStatus() {
        QCOMPARE(LaunchAgentService::run({"/bin/sh", "-c", "exit 3"}), 3);
        QCOMPARE(LaunchAgentService::run({"/nonexistent/tool"}), -1);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(LaunchAgentService::run({"/bin/sleep", "30"}, 300), -1); // hung: killed
        QVERIFY(clock.elapsed() < 20000);
    }

    // The new copy starts once the old process has gone, and not before.
    void relaunchWaitsForTheOldCopy() {
        QTemporaryDir dir;
        const QString marker = dir.filePath("started");
        const QString exe = dir.filePath("new copy");
        writeBytes(exe, QStringLiteral("#!/bin/sh\ndate +%s%N > '%1'\n").arg(marker).toUtf8());
        QVERIFY(QFile::setPermissions(exe, QFile::ReadOwner | QFile::ExeOwner));

        const QString ended = dir.filePath("ended");
        QProcess old; // stands in for the running app: notes when it is about to exit
        old.start("/bin/sh", {"-c", QStringLiteral("sleep 1; date +%s%N > '%1'").arg(ended)});
        QVERIFY(old.waitForStarted());
        const auto c = AppRelauncher::command(Scheme::freedesktop, exe, old.processId());
        QVERIFY(QProcess::startDetached(c.program, c.arguments));
        QVERIFY(old.waitForFinished(10000));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(marker).size() > 0, 15000);
        QVERIFY(readBytes(marker).trimmed().toLongLong() > readBytes(ended).trimmed().toLongLong());
    }
};

QTEST_GUILESS_MAIN(TestLaunchAgent)
#include "tst_launchagent.moc"
