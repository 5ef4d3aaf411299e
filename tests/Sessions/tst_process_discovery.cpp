// SPDX-License-Identifier: MIT
// Process discovery against real process trees: copies of system binaries under the names a
// terminal or `claude` would have, started in their own process groups in temporary directories.
#include "Platform/ProcessTable.h"
#include "Sessions/RunningClaude.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "../support/Files.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <unistd.h>

namespace {

// A pid far above any pid_max.
constexpr int32_t absentPid = 0x7ffffff0;

std::optional<RunningClaude> claudeIn(const QString& cwd) {
    for (auto& claude : ClaudeProcesses::runningClaudes()) {
        if (QString::fromStdString(claude.cwd) == cwd)
            return claude;
    }
    return std::nullopt;
}

} // namespace

class ProcessDiscoveryTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::vector<std::unique_ptr<QProcess>> m_trees;
    std::vector<pid_t> m_strays;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    void install(const QString& source, const QString& name) {
        QDir().mkpath(QFileInfo(path(name)).path());
        QVERIFY(QFile::copy(source, path(name)));
        QVERIFY(QFile::setPermissions(path(name), QFile::ReadOwner | QFile::WriteOwner |
                                                      QFile::ExeOwner | QFile::ExeOther));
    }

    QString workDir(const QString& name) const {
        QDir().mkpath(path(name));
        return QDir(path(name)).canonicalPath();
    }

    // `terminal` (a copy of the shell) starts `levels` nested neutral shells, the innermost of
    // which becomes `program` in `cwd`. Returns the terminal's pid.
    qint64 startTree(const QString& terminal, int levels, const QString& program,
                     const QString& cwd, const QString& argument = "300") {
        auto process = std::make_unique<QProcess>();
        process->setProgram(path(terminal));
        process->setArguments({"-c", QStringLiteral("'%1' %2 '%3' '%4'; exit $?")
                                         .arg(path("chain.sh"))
                                         .arg(levels)
                                         .arg(program, argument)});
        process->setWorkingDirectory(cwd);
        process->setChildProcessModifier([] { setpgid(0, 0); });
        process->start();
        bool started = process->waitForStarted();
        qint64 pid = started ? process->processId() : 0;
        m_trees.push_back(std::move(process));
        return pid;
    }

private slots:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        install("/bin/sleep", "claude");
        for (auto name : {"kitty", "ghostty", "myterm", "gnome-terminal-server"})
            install("/bin/dash", name); // not /bin/sh: on macOS a shim that runs another shell
        // Each level waits for the next, so none is replaced by exec until the last.
        writeBytes(path("chain.sh"),
                   "#!/bin/sh\n"
                   "n=$1; shift\n"
                   "if [ \"$n\" -gt 0 ]; then \"$0\" $((n - 1)) \"$@\"; exit $?; fi\n"
                   "exec \"$@\"\n");
        QVERIFY(QFile::setPermissions(path("chain.sh"), QFile::ReadOwner | QFile::ExeOwner));
    }

    void cleanup() {
        for (auto& tree : m_trees) {
            ::kill(-pid_t(tree->processId()), SIGKILL);
            tree->waitForFinished();
        }
        m_trees.clear();
        for (pid_t pid : m_strays)
            ::kill(pid, SIGKILL);
        m_strays.clear();
    }

    void terminalAboveClaude() {
        // Each tree: a terminal, `levels` shells, then claude. A name the kernel cut to 15 bytes
        // ("gnome-terminal-") is still known, and the 10th ancestor is the last one looked at.
        const struct {
            const char* terminal;
            int levels;
            std::optional<std::string> bundleId;
        } trees[] = {
            {"kitty", 2, "net.kovidgoyal.kitty"},
            {"myterm", 1, std::nullopt},
            {"gnome-terminal-server", 1, "org.gnome.Terminal"},
            {"ghostty", 9, "com.mitchellh.ghostty"},
            {"ghostty", 10, std::nullopt},
        };
        std::vector<std::pair<QString, qint64>> started;
        for (const auto& t : trees) {
            const QString cwd = workDir(QString("tree-%1").arg(started.size()));
            started.emplace_back(cwd, startTree(t.terminal, t.levels, path("claude"), cwd));
        }
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(started.begin(), started.end(),
                                             [](const auto& s) { return bool(claudeIn(s.first)); }),
                                 30000);
        for (std::size_t i = 0; i < started.size(); ++i) {
            const auto claude = *claudeIn(started[i].first);
            QCOMPARE(claude.terminalBundleId, trees[i].bundleId);
            QCOMPARE(claude.terminalPid,
                     trees[i].bundleId ? std::optional<int32_t>(started[i].second) : std::nullopt);
            QVERIFY(ClaudeProcesses::runningClaudeCwds().count(started[i].first.toStdString()));
            const auto match = ClaudeProcesses::detectTerminal(claude.pid);
            QCOMPARE(match.bundleId, claude.terminalBundleId);
            QCOMPARE(match.pid, claude.terminalPid);
        }
        QCOMPARE(ProcessTable::system().name(int32_t(started[2].second)),
                 std::optional<std::string>("gnome-terminal-server"));
        const auto& table = ProcessTable::system();
        QCOMPARE(ClaudeProcesses::detectTerminal(absentPid).pid, std::nullopt);
        QVERIFY(!table.name(absentPid) && !table.parentPid(absentPid));
        QVERIFY(!table.executablePath(absentPid) && !table.currentDirectory(absentPid));
    }

    void claudeByExecutableOrEntryScript() {
        // Stand-ins for Claude Code as npm and the native installer lay it out, and for programs
        // that only live near something named claude. A JavaScript runtime is a copy of the shell
        // named "node" that runs its script (which sleeps).
        const QString package = "lib/node_modules/@anthropic-ai/claude-code/";
        install("/bin/sleep", package + "bin/claude.exe");
        install("/bin/sleep", "share/claude/versions/2.1.330");
        install("/bin/sleep", "claude-notes/bin/vim");
        install("/bin/sleep", "Claude/helper");
        install("/bin/sleep", "claude-notes-sync");
        install("/bin/dash", "node");
        // Not last, so the shell does not become sleep.
        for (const QString& script :
             {package + "cli.js", package + "cli-wrapper.cjs", QString("notes/claude/cli.js")})
            writeBytes(path(script), "sleep 300\n:\n");
        QDir().mkpath(path("bin"));
        QVERIFY(QFile::link(path(package + "cli.js"), path("bin/claude")));

        const struct {
            const char* name;
            QString program;
            QString argument;
            bool isClaude;
        } cases[] = {
            {"npm's native executable", path(package + "bin/claude.exe"), "300", true},
            {"native installer's version file", path("share/claude/versions/2.1.330"), "300", true},
            {"entry script on node", path("node"), path(package + "cli.js"), true},
            {"npm's link to the entry script", path("node"), path("bin/claude"), true},
            {"the wrapper that starts the native executable", path("node"),
             path(package + "cli-wrapper.cjs"), false},
            {"a script in a folder named claude", path("node"), path("notes/claude/cli.js"), false},
            {"an editor under ~/claude-notes", path("claude-notes/bin/vim"), "300", false},
            {"a folder named Claude", path("Claude/helper"), "300", false},
            {"a name that starts with claude", path("claude-notes-sync"), "300", false},
        };
        std::vector<QString> cwds;
        for (const auto& c : cases) {
            cwds.push_back(workDir(QString("recognise-%1").arg(cwds.size())));
            startTree("kitty", 0, c.program, cwds.back(), c.argument);
        }
        // A relative script path is resolved against the process's directory.
        QVERIFY(QDir().mkpath(path(package + "sub")));
        startTree("kitty", 0, path("node"), path(package + "sub"), "../cli.js");
        QTRY_VERIFY(claudeIn(QDir(path(package + "sub")).canonicalPath()));
        // The positive cases show the walk has run after every process started.
        QTRY_VERIFY(claudeIn(cwds[0]) && claudeIn(cwds[1]) && claudeIn(cwds[2]) &&
                    claudeIn(cwds[3]));
        for (std::size_t i = 0; i < cwds.size(); ++i)
            QVERIFY2(bool(claudeIn(cwds[i])) == cases[i].isClaude, cases[i].name);
        QCOMPARE(claudeIn(cwds[0])->terminalBundleId,
                 std::optional<std::string>("net.kovidgoyal.kitty"));
        QCOMPARE(ProcessTable::system().arguments(claudeIn(cwds[2])->pid),
                 (std::vector<std::string>{path("node").toStdString(),
                                           path(package + "cli.js").toStdString()}));
    }

    void adoptedClaudeIsIgnored() {
        QString cwd = workDir("adopted");
        QString visible = workDir("adopted-control");
        QProcess shell;
        shell.setWorkingDirectory(cwd);
        shell.start(
            "/bin/sh",
            {"-c", QStringLiteral("'%1' 300 >/dev/null 2>&1 & echo $!").arg(path("claude"))});
        QVERIFY(shell.waitForFinished());
        pid_t orphan = pid_t(shell.readAllStandardOutput().trimmed().toInt());
        QVERIFY(orphan > 0);
        m_strays.push_back(orphan);
        QTRY_VERIFY(ProcessTable::system().parentPid(orphan) != int32_t(shell.processId()));
        if (ProcessTable::system().parentPid(orphan) != 1)
            QSKIP("a subreaper, not pid 1, adopted the orphan here");
        // A control claude started after it shows the walk has seen the orphan's era.
        startTree("myterm", 0, path("claude"), visible);
        QTRY_VERIFY(claudeIn(visible));
        QVERIFY(!claudeIn(cwd));
        QVERIFY(!ClaudeProcesses::runningClaudeCwds().count(cwd.toStdString()));
    }
};

QTEST_GUILESS_MAIN(ProcessDiscoveryTest)
#include "tst_process_discovery.moc"
