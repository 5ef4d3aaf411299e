// SPDX-License-Identifier: MIT
// The scanner against real folders in a temporary projects root, with the process table and the
// clock as seams; the folder watcher against real inotify.
#include <QtTest>

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "ClaudeIntegration/SessionScanner.h"
#include "Platform/FolderWatcher.h"
#include "Sessions/SessionStore.h"

#include "../support/Stderr.h"

using nlohmann::json;

namespace {

const QDateTime fixedNow = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);

std::string prompt(const std::string& text, const std::string& cwd) {
    return json{{"type", "user"}, {"cwd", cwd}, {"message", {{"role", "user"}, {"content", text}}}}
               .dump() +
           "\n";
}

std::string answer(const std::string& text, const char* stop = "end_turn") {
    return json{{"type", "assistant"},
                {"message",
                 {{"model", "claude-opus"},
                  {"content", json::array({{{"type", "text"}, {"text", text}}})},
                  {"stop_reason", stop}}}}
               .dump() +
           "\n";
}

} // namespace

class TestSessionScanner : public QObject {
    Q_OBJECT

    QString root() const { return m_home.filePath("projects"); }
    QString writeTranscript(const QString& project, const QString& id, const std::string& content,
                            qint64 secondsAgo) {
        QDir().mkpath(root() + "/" + project);
        const QString path = root() + "/" + project + "/" + id + ".jsonl";
        std::ofstream(path.toStdString(), std::ios::binary | std::ios::trunc) << content;
        setAge(path, secondsAgo);
        return path;
    }
    static void setAge(const QString& path, qint64 secondsAgo) {
        const timespec when{time_t(fixedNow.toSecsSinceEpoch() - secondsAgo), 0};
        const timespec times[2] = {when, when};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }
    // What Claude Code records of a running process: its pid and the session it runs.
    void writeRecord(int32_t pid, const std::string& sessionId, int32_t recordedPid = 0) {
        QDir().mkpath(m_home.filePath("sessions"));
        std::ofstream(m_home.filePath(QString("sessions/%1.json").arg(pid)).toStdString()) << json{
            {"pid", recordedPid ? recordedPid : pid},
            {"sessionId", sessionId},
            {"cwd", "/work/app"},
            {"kind", "interactive"}}.dump();
    }
    SessionScanner::Environment env() {
        return {root(), [this] { return m_running; }, [] { return fixedNow; }};
    }
    // A store whose only live folder is /work/app, at the fixed time.
    SessionStore::Environment storeEnvironment() {
        SessionStore::Environment e;
        e.settingsPath = m_home.filePath("settings.json");
        e.playSound = [](const QString&) {};
        e.runningClaudeCwds = [] { return std::set<std::string>{"/work/app"}; };
        e.now = [] { return fixedNow; };
        return e;
    }
    std::vector<DiscoveredSession> discover() {
        SessionScanner scanner(nullptr, env());
        return scanner.discover();
    }
    using Pids = std::map<QString, int32_t>;
    static Pids ids(const std::vector<DiscoveredSession>& found) {
        Pids pids;
        for (const DiscoveredSession& s : found)
            pids[s.sessionId] = s.claudePid.value_or(0);
        return pids;
    }

    QTemporaryDir m_home;
    std::vector<RunningClaude> m_running;

private slots:
    void init() {
        QVERIFY(m_home.isValid());
        QDir(root()).removeRecursively();
        QDir(m_home.filePath("sessions")).removeRecursively();
        QVERIFY(QDir().mkpath(root()));
        m_running = {{4242, "/work/app", std::string("com.mitchellh.ghostty"), 77}};
    }

    void liveWindowQuietMinuteAndRunningProcess() {
        const QString path = writeTranscript("-work-app", "s", prompt("going", "/work/app"), 0);
        const auto completeness = [&] {
            std::vector<bool> complete;
            for (const DiscoveredSession& s : discover())
                complete.push_back(s.turnComplete);
            return complete;
        };
        // Quiet for more than a minute counts as complete; past ten minutes it is gone.
        const std::pair<qint64, std::vector<bool>> ages[] = {
            {599, {true}}, {601, {}}, {61, {true}}, {59, {false}}};
        for (const auto& [age, expected] : ages) {
            setAge(path, age);
            QVERIFY2(completeness() == expected, qPrintable(QString::number(age)));
        }
        m_running = {{1, "/work/other", std::nullopt, std::nullopt}};
        QCOMPARE(discover().size(), std::size_t(0));
        m_running.clear();
        QCOMPARE(discover().size(), std::size_t(0));
    }

    void newestTranscriptPerProjectOnly() {
        // The newer transcript belongs to a folder without a process: the older one, which has
        // one, is not considered instead.
        writeTranscript("-work-app", "old", prompt("old", "/work/app"), 30);
        writeTranscript("-work-app", "new", prompt("new", "/elsewhere"), 10);
        QCOMPARE(discover().size(), std::size_t(0));

        writeTranscript("-work-app", "newer", prompt("newer", "/work/app"), 2);
        SessionScanner scanner(nullptr, env());
        QCOMPARE(ids(scanner.discover()), (Pids{{"newer", 4242}}));
        // A new session file in the same folder takes over on the next pass of the same scanner.
        writeTranscript("-work-app", "newest", prompt("newest", "/work/app"), 1);
        const auto found = scanner.discover();
        QCOMPARE(ids(found), (Pids{{"newest", 4242}}));
        QCOMPARE(found[0].firstPrompt, QString("newest"));
    }

    void severalSessionsInOneFolder() {
        writeTranscript("-work-app", "oldest", prompt("oldest", "/work/app"), 40);
        writeTranscript("-work-app", "old", prompt("old", "/work/app"), 30);
        writeTranscript("-work-app", "mid", prompt("mid", "/work/app"), 20);
        writeTranscript("-work-app", "new", prompt("new", "/work/app"), 10);
        m_running.push_back({9999, "/work/app", std::nullopt, std::nullopt});

        // Without records of their own, two processes take the two newest transcripts, in order.
        QCOMPARE(ids(discover()), (Pids{{"new", 4242}, {"mid", 9999}}));

        // A process that names its session claims exactly that one; the other takes the newest
        // left.
        writeRecord(4242, "old");
        QCOMPARE(ids(discover()), (Pids{{"old", 4242}, {"new", 9999}}));
        // Both named: both kept, whatever their age.
        writeRecord(9999, "oldest");
        QCOMPARE(ids(discover()), (Pids{{"old", 4242}, {"oldest", 9999}}));
        // A session that has written no transcript yet takes none of its folder's older ones.
        writeRecord(9999, "not-written-yet");
        QCOMPARE(ids(discover()), (Pids{{"old", 4242}}));
        // A record that does not describe its own pid is not taken for one.
        writeRecord(9999, "oldest", 1234);
        QCOMPARE(ids(discover()), (Pids{{"old", 4242}, {"new", 9999}}));

        // Handed to the store, both sessions stay listed pass after pass.
        SessionStore store(storeEnvironment());
        SessionScanner scanner(&store, env());
        for (int pass = 0; pass < 3; ++pass) {
            capturedStderr([&] { scanner.scan(); });
            QVERIFY(store.session("old") && store.session("new"));
            QCOMPARE(store.sessions().size(), std::size_t(2));
        }
        // One of them ends: its session goes, the other stays.
        m_running.pop_back();
        scanner.scan();
        QVERIFY(store.session("old") && !store.session("new"));
    }

    void badFoldersAndFilesAreSkipped() {
        // No projects folder at all, or a file where it should be.
        QVERIFY(QDir(root()).removeRecursively());
        QCOMPARE(discover().size(), std::size_t(0));
        QVERIFY(QFile(root()).open(QIODevice::WriteOnly));
        QCOMPARE(discover().size(), std::size_t(0));
        QVERIFY(QFile::remove(root()));
        QVERIFY(QDir().mkpath(root()));

        // Stray entries: a file beside the project folders, a dangling link, a folder named like a
        // transcript, a transcript behind a dangling link (no date: the distant past), a hidden
        // ".jsonl" without a name, and a binary transcript, which still counts (its cwd from the
        // folder) but says nothing.
        QVERIFY(QFile(root() + "/stray.jsonl").open(QIODevice::WriteOnly));
        QVERIFY(QFile::link(root() + "/missing", root() + "/-dangling"));
        QVERIFY(QDir().mkpath(root() + "/-work-app/folder.jsonl"));
        QVERIFY(QDir().mkpath(root() + "/-work-b"));
        QVERIFY(QFile::link(root() + "/nowhere", root() + "/-work-b/linked.jsonl"));
        writeTranscript("-work-b", "", prompt("hidden", "/work/b"), 1); // named ".jsonl"
        std::string binary(1 << 16, '\0');
        for (std::size_t i = 0; i < binary.size(); ++i)
            binary[i] = char((i * 7919) & 0xff);
        writeTranscript("-work-app", "bin", binary, 1);
        m_running.push_back({6, "/work/b", std::nullopt, std::nullopt});

        const auto found = discover();
        QCOMPARE(found.size(), std::size_t(1));
        QCOMPARE(found[0].sessionId, QString("bin"));
        QCOMPARE(found[0].cwd, QString("/work/app"));
        QCOMPARE(found[0].lastUser, std::nullopt);
        // Without a cwd in the transcript it is read back from the folder's name, lossily.
        QCOMPARE(SessionScanner::cwdFromProjectFolder("-work-my-app"), QString("/work/my/app"));
        QCOMPARE(SessionScanner::cwdFromProjectFolder("--x"), QString("//x"));
    }

    void scanCarriesTranscriptAndProcessFactsToTheStore() {
        SessionStore store(storeEnvironment());
        SessionScanner scanner(&store, env());
        writeTranscript("-work-app", "abc-123",
                        prompt("<command-name>/init</command-name>", "/work/app") +
                            prompt("first question", "/work/app") +
                            answer("an answer", "tool_use") +
                            prompt("second question", "/work/app") + answer("final answer"),
                        5);
        // Two processes in one folder without records: the first listed takes the transcript.
        m_running.push_back({9999, "/work/app", std::nullopt, std::nullopt});
        m_running.push_back({8, "/work/idle", std::nullopt, std::nullopt});
        const auto found = discover();
        QCOMPARE(found.size(), std::size_t(1));
        const DiscoveredSession& d = found[0];
        QCOMPARE(d.mtime, fixedNow.addSecs(-5));
        QCOMPARE(d.lastUser, QString("second question"));
        QCOMPARE(d.lastAssistant, QString("final answer"));
        QCOMPARE(d.lastModel, QString("claude-opus"));
        QCOMPARE(d.turnComplete, true);
        QCOMPARE(d.terminalBundleId, QString("com.mitchellh.ghostty"));
        QCOMPARE(d.terminalPid, 77);

        QSignalSpy scanned(&scanner, &SessionScanner::scanned);
        capturedStderr([&] { scanner.scan(); });
        QCOMPARE(scanned.count(), 1);
        const Session* s = store.session("abc-123");
        QVERIFY(s);
        QCOMPARE(s->cwd, QString("/work/app"));
        QCOMPARE(s->firstUserPrompt, QString("first question"));
        QCOMPARE(s->claudePid, 4242);
        QCOMPARE(s->status.kind, Status::Kind::idle);

        // The transcript goes quiet past the window: the next scan reports nothing and the store
        // lets the session go.
        setAge(root() + "/-work-app/abc-123.jsonl", 700);
        capturedStderr([&] { scanner.scan(); });
        QVERIFY(!store.session("abc-123"));
    }

    void startRunsPruneTimerAndWatch() {
        SessionStore::Environment storeEnv;
        storeEnv.settingsPath = m_home.filePath("settings.json");
        storeEnv.playSound = [](const QString&) {};
        storeEnv.runningClaudeCwds = [] { return std::set<std::string>{"/work/app"}; };
        SessionStore store(storeEnv);
        SessionScanner::Environment e = env();
        e.now = [] { return QDateTime::currentDateTimeUtc(); };
        SessionScanner scanner(&store, e);

        QSignalSpy scanned(&scanner, &SessionScanner::scanned);
        scanner.start();
        QTRY_VERIFY_WITH_TIMEOUT(scanned.count() >= 1, 10000); // the first scan comes at once

        // A session known only from a hook event, whose cwd has no process: the prune timer drops
        // it well before the next fallback scan would.
        HookEvent event;
        event.kind = HookEvent::Kind::notification;
        event.sessionId = "from-hook";
        event.cwd = "/gone";
        event.timestamp = nowSinceReferenceDate();
        store.handle(event, [](const HookDecision&) {});
        QVERIFY(store.session("from-hook"));
        const QByteArray log = capturedStderr(
            [&] { (void)QTest::qWaitFor([&] { return !store.session("from-hook"); }, 10000); });
        QVERIFY(!store.session("from-hook"));
        QVERIFY(log.contains("Prune: removing session from-hoo"));

        // A transcript written while running is picked up (by the watch, or the fallback timer).
        QDir().mkpath(root() + "/-work-app");
        std::ofstream((root() + "/-work-app/live.jsonl").toStdString())
            << prompt("live", "/work/app");
        QTRY_VERIFY_WITH_TIMEOUT(store.session("live"), 15000);
        QCOMPARE(store.session("live")->firstUserPrompt, QString("live"));
    }

    void watcherCoversSubfoldersNewFoldersAndCoalesces() {
        QVERIFY(QDir(root()).removeRecursively());
        FolderWatcher watcher(root());
        QVERIFY(!watcher.start()); // nothing to watch yet
        QVERIFY(!watcher.isWatching());
        QVERIFY(QDir().mkpath(root() + "/-existing"));
        QVERIFY(watcher.start());
        QVERIFY(watcher.start()); // again: harmless
        QSignalSpy changed(&watcher, &FolderWatcher::changed);

        // A burst of writes to a file in an existing sub-folder gives one notice.
        {
            std::ofstream out((root() + "/-existing/a.jsonl").toStdString());
            for (int i = 0; i < 200; ++i)
                out << "{}\n" << std::flush;
        }
        QVERIFY(changed.wait(10000));
        QTest::qWait(600);
        QCOMPARE(changed.count(), 1);

        // A folder made after the start is watched too: writes to its files are noticed.
        const auto append = [&](const char* file) {
            changed.clear();
            std::ofstream(root().toStdString() + file, std::ios::app) << "{}\n";
            return changed.wait(10000);
        };
        QVERIFY(QDir().mkpath(root() + "/-later"));
        QVERIFY(changed.wait(10000));
        QTest::qWait(600);
        QVERIFY(append("/-later/b.jsonl"));

        // The folder itself goes away and comes back: start() re-arms the watch.
        QVERIFY(QDir(root()).removeRecursively());
        QTRY_VERIFY_WITH_TIMEOUT(!watcher.isWatching(), 10000);
        QVERIFY(QDir().mkpath(root() + "/-again"));
        QVERIFY(watcher.start());
        QVERIFY(append("/-again/c.jsonl"));
    }
};

QTEST_GUILESS_MAIN(TestSessionScanner)
#include "tst_sessionscanner.moc"
