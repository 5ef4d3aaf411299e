// SPDX-License-Identifier: MIT
// `hollowmere hooks …` and `hollowmere rules …` as a user runs them: the real executable from the
// build, a throw-away HOME, exit codes and output.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Result {
    int code = -1;
    QString out;
    QString err;
};

QByteArray readBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

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

    void hooksLifecycle() {
        const QString hook = QFileInfo(m_binDir + "/hollowmere-hook").absoluteFilePath();
        Result r = run({"hooks", "status"});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out, QStringLiteral("not installed\n"));
        QVERIFY(!QFileInfo::exists(m_settings));

        r = run({"hooks", "install"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("installed hooks → %1\n").arg(hook));
        const QByteArray installed = readBytes(m_settings);
        QVERIFY(installed.contains(hook.toUtf8()));

        r = run({"hooks", "install"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("ok: hooks already installed\n"));
        QCOMPARE(readBytes(m_settings), installed);

        r = run({"hooks", "status"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("installed: %1\n").arg(hook));

        QCOMPARE(run({"hooks", "restore"}).code, 1); // no file before the install: no backup
        QCOMPARE(run({"hooks", "uninstall"}).code, 0);
        QCOMPARE(readBytes(m_settings).trimmed(), QByteArray("{}"));
        QCOMPARE(run({"hooks", "uninstall"}).code, 1);
        QCOMPARE(run({"hooks", "status"}).code, 1);
    }

    void restoreBringsBackTheFirstState() {
        const QByteArray original = "{\"theme\": \"dark\"}\n";
        QDir().mkpath(m_home->filePath(".claude"));
        QFile f(m_settings);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(original);
        f.close();

        QCOMPARE(run({"hooks", "install"}).code, 0);
        QCOMPARE(run({"rules", "add", "Read"}).code, 0);
        const Result r = run({"hooks", "restore"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith("restored "));
        QCOMPARE(readBytes(m_settings), original);
        QCOMPARE(run({"hooks", "restore"}).code, 1);
    }

    void rules() {
        QCOMPARE(run({"rules", "list"}).out, QString());
        QCOMPARE(run({"rules", "remove", "Read"}).code, 1);
        QCOMPARE(run({"rules", "add", "Read"}).code, 0);
        Result r = run({"rules", "add", "Read"});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out, QStringLiteral("already allowed: Read\n"));
        QCOMPARE(run({"rules", "add", "Bash(git:*)"}).code, 0);
        QCOMPARE(run({"rules", "add", "Bash(npm run test:*)"}).code, 0);

        r = run({"rules", "list"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("Read\nBash(git:*)\nBash(npm run test:*)\n"));

        QCOMPARE(run({"rules", "remove", "Read"}).code, 0);
        QCOMPARE(run({"rules", "remove", "Read"}).code, 1);
        QCOMPARE(run({"rules", "list"}).out, QStringLiteral("Bash(git:*)\nBash(npm run test:*)\n"));
    }

    void refusedWriteIsReported() {
        const QByteArray bytes = "{\"n\": 123456789012345678901234567890}";
        QDir().mkpath(m_home->filePath(".claude"));
        QFile f(m_settings);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        f.close();

        Result r = run({"hooks", "install"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.startsWith("failed to write settings: "), qPrintable(r.out));
        r = run({"rules", "add", "Read"});
        QCOMPARE(r.code, 1);
        QVERIFY(r.err.contains("123456789012345678901234567890"));
        QCOMPARE(readBytes(m_settings), bytes);
    }

    void askWhen() {
        QCOMPARE(run({"hooks", "ask-when"}).out, QStringLiteral("every-tool\n"));
        QCOMPARE(run({"hooks", "install"}).code, 0);
        Result r = run({"hooks", "ask-when", "claude-asks"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("ask when: claude-asks\n"));
        QCOMPARE(run({"hooks", "ask-when"}).out, QStringLiteral("claude-asks\n"));
        const QByteArray settings = readBytes(m_settings);
        QVERIFY(settings.contains("\"PermissionRequest\""));
        QVERIFY(!settings.contains("\"PreToolUse\""));
        QCOMPARE(run({"hooks", "status"}).code, 0);
        QCOMPARE(run({"hooks", "ask-when", "every-tool"}).code, 0);
        QVERIFY(!readBytes(m_settings).contains("\"PermissionRequest\""));
    }

    void parallelWritersKeepEveryRule() {
        // Eight writers at once, fifty rules each: every read-modify-write must see the last.
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
        QCOMPARE(listed.size(), 400);
        listed.sort();
        expected.sort();
        QCOMPARE(listed, expected);
    }

    void usageErrors_data() {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("unknown verb") << QStringList{"frobnicate"};
        QTest::newRow("hooks alone") << QStringList{"hooks"};
        QTest::newRow("hooks unknown") << QStringList{"hooks", "reinstall"};
        QTest::newRow("hooks extra") << QStringList{"hooks", "install", "now"};
        QTest::newRow("rules alone") << QStringList{"rules"};
        QTest::newRow("add without pattern") << QStringList{"rules", "add"};
        QTest::newRow("add empty pattern") << QStringList{"rules", "add", ""};
        QTest::newRow("remove two") << QStringList{"rules", "remove", "A", "B"};
        QTest::newRow("ask-when unknown") << QStringList{"hooks", "ask-when", "sometimes"};
        QTest::newRow("ask-when key name") << QStringList{"hooks", "ask-when", "claudeAsks"};
        QTest::newRow("ask-when extra") << QStringList{"hooks", "ask-when", "every-tool", "x"};
    }

    void usageErrors() {
        QFETCH(QStringList, args);
        const Result r = run(args);
        QCOMPARE(r.code, 2);
        QCOMPARE(r.out, QString());
        QVERIFY(r.err.contains("usage: hollowmere"));
        QVERIFY(!QFileInfo::exists(m_home->filePath(".claude")));
    }

    void helpAndVersion() {
        const QString version = QStringLiteral("Hollowmere " HOLLOWMERE_VERSION);
        for (const char* flag : {"--help", "-h", "help"}) {
            const Result r = run({flag});
            QCOMPARE(r.code, 0);
            QVERIFY2(r.out.startsWith(version + ": "), qPrintable(r.out));
            QVERIFY(r.out.contains("\nusage: hollowmere"));
        }
        const Result r = run({"--version"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, version + "\n");
        QCOMPARE(r.err, QString());
    }

    void hookMissingBesideACopy() {
        QTemporaryDir elsewhere;
        const QString copy = elsewhere.filePath("hollowmere");
        QVERIFY(QFile::copy(m_binDir + "/hollowmere", copy));
        Result r = run({"hooks", "install"}, copy);
        QCOMPARE(r.code, 1);
        QCOMPARE(r.out, QStringLiteral("skip: hollowmere-hook not found next to app binary\n"));
        QVERIFY(!QFileInfo::exists(m_home->filePath(".claude")));
        r = run({"hooks", "status"}, copy);
        QCOMPARE(r.code, 1);
        QVERIFY(r.out.startsWith("not installed"));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
