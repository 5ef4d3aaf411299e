// SPDX-License-Identifier: MIT
// `hollowmere hooks …` and `hollowmere rules …` as a user runs them: the real executable from the
// build, a throw-away HOME, exit codes and output.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "../support/Files.h"

namespace {

struct Result {
    int code = -1;
    QString out;
    QString err;
};

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT

    QString m_binDir = qEnvironmentVariable("HOLLOWMERE_BIN_DIR");
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_settings;

    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", m_home->path());
        env.insert("XDG_CONFIG_HOME", m_home->filePath(".config")); // the preferences
        // A command must not need a display: with xcb and no X server a GUI app would abort.
        env.insert("QT_QPA_PLATFORM", "xcb");
        env.insert("DISPLAY", ":97531");
        env.remove("WAYLAND_DISPLAY");
        return env;
    }

    Result run(const QStringList& args, const QString& program = {}) {
        QProcess p;
        p.setProcessEnvironment(environment());
        p.start(program.isEmpty() ? m_binDir + "/hollowmere" : program, args);
        if (!p.waitForFinished(30000))
            return {};
        return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                QString::fromUtf8(p.readAllStandardOutput()),
                QString::fromUtf8(p.readAllStandardError())};
    }

private slots:
    void initTestCase() {
        QVERIFY2(QFileInfo(m_binDir + "/hollowmere").isExecutable(), qPrintable(m_binDir));
        QVERIFY(QFileInfo(m_binDir + "/hollowmere-hook").isExecutable());
    }

    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(m_home->isValid());
        m_settings = m_home->filePath(".claude/settings.json");
    }

    void everyVerbAndExitCode() {
        // What each verb does to the file is the installer's (tst_hooksinstaller); here, that
        // each reaches it and says so with its exit code.
        const QString hook = QFileInfo(m_binDir + "/hollowmere-hook").absoluteFilePath();
        const QByteArray original = "{\"theme\": \"dark\"}\n";
        writeBytes(m_settings, original);
        const struct {
            QStringList args;
            int code;
            QString out; // its start
        } steps[] = {
            {{"hooks", "status"}, 1, "not installed\n"},
            {{"hooks", "ask-when"}, 0, "every-tool\n"},
            {{"hooks", "install"}, 0, "installed hooks → " + hook + "\n"},
            {{"hooks", "install"}, 0, "ok: hooks already installed\n"},
            {{"hooks", "status"}, 0, "installed: " + hook + "\n"},
            {{"hooks", "ask-when", "claude-asks"}, 0, "ask when: claude-asks\n"},
            {{"hooks", "ask-when"}, 0, "claude-asks\n"},
            {{"hooks", "status"}, 0, "installed: "},
            {{"rules", "list"}, 0, ""},
            {{"rules", "remove", "Read"}, 1, ""},
            {{"rules", "add", "Read"}, 0, ""},
            {{"rules", "add", "Read"}, 1, "already allowed: Read\n"},
            {{"rules", "add", "Bash(npm run test:*)"}, 0, ""},
            {{"rules", "list"}, 0, "Read\nBash(npm run test:*)\n"},
            {{"rules", "remove", "Read"}, 0, ""},
            {{"hooks", "uninstall"}, 0, ""},
            {{"hooks", "uninstall"}, 1, ""},
            {{"hooks", "restore"}, 0, "restored "},
            {{"hooks", "restore"}, 1, ""},
        };
        for (const auto& step : steps) {
            const Result r = run(step.args);
            QVERIFY2(
                r.code == step.code && (step.out.isEmpty() || r.out.startsWith(step.out)),
                qPrintable(step.args.join(' ') + " → " + QString::number(r.code) + " " + r.out));
        }
        QCOMPARE(readBytes(m_settings), original);
    }

    void refusedWriteIsReported() {
        const QByteArray bytes = "{\"n\": 123456789012345678901234567890}";
        writeBytes(m_settings, bytes);
        Result r = run({"hooks", "install"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.startsWith("failed to write settings: "), qPrintable(r.out));
        r = run({"rules", "add", "Read"});
        QCOMPARE(r.code, 1);
        QVERIFY(r.err.contains("123456789012345678901234567890"));
        QCOMPARE(readBytes(m_settings), bytes);
    }

    void parallelWritersKeepEveryRule() {
        // Eight writers at once, fifty rules each: every read-modify-write must see the last.
        // Fewer launches let a missing lock through some runs; a burst of single writes at
        // once outlasts the lock's wait on a loaded machine.
        std::vector<std::unique_ptr<QProcess>> writers;
        QStringList expected;
        for (int w = 0; w < 8; ++w) {
            auto& p = writers.emplace_back(std::make_unique<QProcess>());
            p->setProcessEnvironment(environment());
            p->start("/bin/sh", {"-c",
                                 "for i in $(seq 1 50); do \"$0\" rules add \"Bash(w$1-$i:*)\" "
                                 ">/dev/null || exit 1; done",
                                 m_binDir + "/hollowmere", QString::number(w)});
            for (int i = 1; i <= 50; ++i)
                expected << QStringLiteral("Bash(w%1-%2:*)").arg(w).arg(i);
        }
        for (auto& p : writers) {
            QVERIFY(p->waitForFinished(600000));
            QCOMPARE(p->exitCode(), 0);
        }
        QStringList listed = run({"rules", "list"}).out.split('\n', Qt::SkipEmptyParts);
        listed.sort();
        expected.sort();
        QCOMPARE(listed, expected);
    }

    // Usage, help, and a copy of the app without its hook: none of them creates anything under
    // ~/.claude. (--version is test_deb's, on the packaged app.)
    void answersWithoutTouchingClaude() {
        const QString version = QStringLiteral("Hollowmere " HOLLOWMERE_VERSION);
        QTemporaryDir elsewhere;
        const QString copy = elsewhere.filePath("hollowmere");
        QVERIFY(QFile::copy(m_binDir + "/hollowmere", copy));
        const QString usage = "usage: hollowmere";
        const QString noHook = "skip: hollowmere-hook not found next to app binary\n";
        const struct {
            QStringList args;
            int code;
            QString out; // its start
            QString err; // a part of it
            QString program = {};
        } rows[] = {
            {{"frobnicate"}, 2, "", usage},
            {{"hooks", "install", "now"}, 2, "", usage},
            {{"rules"}, 2, "", usage},
            {{"rules", "add", ""}, 2, "", usage},
            {{"hooks", "ask-when", "claudeAsks"}, 2, "", usage},
            {{"--help"}, 0, version + ": ", ""},
            {{"hooks", "install"}, 1, noHook, "", copy},
            {{"hooks", "status"}, 1, "not installed", "", copy},
        };
        for (const auto& row : rows) {
            const Result r = run(row.args, row.program);
            // A usage error says only that; --help adds the usage to its first line.
            const bool said = (row.out.isEmpty() ? row.code != 2 || r.out.isEmpty()
                                                 : r.out.startsWith(row.out)) &&
                              (row.err.isEmpty() || r.err.contains(row.err)) &&
                              (row.args != QStringList{"--help"} || r.out.contains("\n" + usage));
            QVERIFY2(r.code == row.code && said && !QFileInfo::exists(m_home->filePath(".claude")),
                     qPrintable(row.args.join(' ') + " → " + QString::number(r.code) + " " + r.out +
                                r.err));
        }
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
