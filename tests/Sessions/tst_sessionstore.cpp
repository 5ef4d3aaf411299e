// SPDX-License-Identifier: MIT
// Session lifecycle: hook events, transcript discoveries, pruning and the derived lists.
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QtTest>

#include <unistd.h>

#include "../support/Stderr.h"
#include "StoreFixture.h"

using Kind = HookEvent::Kind;

namespace {

QDateTime wireDate(double seconds) {
    return QDateTime::fromMSecsSinceEpoch(qint64((seconds + 978307200.0) * 1000), Qt::UTC);
}

DiscoveredSession discovered(const QString& id, const QDateTime& mtime, bool turnComplete) {
    DiscoveredSession d;
    d.sessionId = id;
    d.cwd = QStringLiteral("/work/") + id;
    d.mtime = mtime;
    d.turnComplete = turnComplete;
    return d;
}

} // namespace

class TestSessionStore : public QObject {
    Q_OBJECT

private slots:
    void historyKeepsTwentyNewestWithSummaries() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        for (int i = 0; i < 25; ++i) {
            HookEvent e = hookEvent(Kind::notification, "s1", 800000000.0 + i);
            e.message = "message " + std::to_string(i);
            store->handle(e, nullptr);
        }
        const auto& history = store->session("s1")->history;
        QCOMPARE(history.size(), size_t(20));
        QCOMPARE(history.front().summary, QStringLiteral("message 5"));
        QCOMPARE(history.back().summary, QStringLiteral("message 24"));
        QCOMPARE(history.front().timestamp, wireDate(800000005.0));
        QVERIFY(history.front().id != history.back().id);

        const std::string longCommand(100, 'x');
        struct Case {
            HookEvent event;
            QString summary;
        } cases[] = {
            {hookEvent(Kind::stop, "s2"), "Session ended"},
            {hookEvent(Kind::notification, "s2"), "Notification"},
            {permissionRequest("s2", "Bash", bashInput("git status")), "Bash: git status"},
            {permissionRequest("s2", "Bash", bashInput(longCommand)), "Bash: " + QString(60, u'x')},
            {permissionRequest("s2", "Bash", bashInput(R"(ls\ncat f)")), "Bash: ls cat f"},
            {permissionRequest("s2", "Edit", R"({"file_path":"/w/a.cpp","old_string":"a"})"),
             "Edit: /w/a.cpp"},
            {permissionRequest("s2", "Read", "not json"), "Read"},
            {permissionRequest("s2", "Bash", R"({"file":"x"})"), "Bash"},
        };
        for (const auto& c : cases) {
            store->handle(c.event, nullptr);
            const auto& last = store->session("s2")->history.back();
            QCOMPARE(last.summary, c.summary);
            QVERIFY(last.kind == c.event.kind);
            QCOMPARE(last.tool.has_value(), c.event.tool.has_value());
        }
    }

    void eventFactsNeverEraseKnownOnes() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        // A notification of an unknown session: a new idle session, and no opinion at once.
        QSignalSpy changed(store.get(), &SessionStore::sessionsChanged);
        Answers answers;
        store->handle(hookEvent(Kind::notification, "new"), answers.respond());
        QCOMPARE(answers.count(), size_t(1));
        QVERIFY(answers.last() == HookDecision::Decision::passthrough);
        QVERIFY(store->session("new")->status.kind == Status::Kind::idle);
        QVERIFY(!store->session("new")->justFinishedAt && !store->session("new")->claudePid);
        QCOMPARE(changed.count(), 1);

        HookEvent full = hookEvent(Kind::notification, "s1");
        full.terminalBundleId = "com.googlecode.iterm2";
        full.terminalPid = 321;
        full.claudePid = 654;
        full.iTermSessionId = "w0t0p0:ABC";
        store->handle(full, nullptr);
        HookEvent bare = hookEvent(Kind::notification, "s1", 800000100.0);
        bare.cwd = "/elsewhere";
        store->handle(bare, nullptr);
        const Session* s = store->session("s1");
        QCOMPARE(s->lastTerminalBundleId, std::optional<QString>("com.googlecode.iterm2"));
        QCOMPARE(s->lastTerminalPid, std::optional<int32_t>(321));
        QCOMPARE(s->claudePid, std::optional<int32_t>(654));
        QCOMPARE(s->iTermSessionId, std::optional<QString>("w0t0p0:ABC"));
        QCOMPARE(s->cwd, QStringLiteral("/elsewhere"));
        QCOMPARE(s->lastEvent, wireDate(800000100.0));
    }

    void stopMarksJustFinishedUntilTheFirstDeadline() {
        // A short period stands in for the real 4 s; the proportions are the same.
        const auto period = std::chrono::milliseconds(1000);
        StoreFakes fakes;
        auto store = makeStore(fakes, {}, period);
        Answers waiting;
        store->handle(permissionRequest("s1", "Edit", "{}"), waiting.respond());
        // A waiting hook holds Claude Code up: it gets its answer before the chime starts and
        // before observers (the views) react to the change.
        int answered = 0;
        qsizetype soundsWhenAnswered = -1;
        std::vector<int> answeredWhenObserved;
        connect(store.get(), &SessionStore::sessionsChanged, this,
                [&] { answeredWhenObserved.push_back(answered); });
        QElapsedTimer clock;
        clock.start();
        store->handle(hookEvent(Kind::stop, "s1"), [&](const HookDecision& d) {
            answered += d.decision == HookDecision::Decision::passthrough;
            soundsWhenAnswered = fakes.soundsPlayed.size();
        });
        QCOMPARE(answered, 1);
        QCOMPARE(soundsWhenAnswered, qsizetype(0));
        QCOMPARE(answeredWhenObserved, std::vector<int>{1});
        QCOMPARE(waiting.count(), size_t(0)); // a stop does not answer the old prompt
        QCOMPARE(fakes.soundsPlayed, QStringList{"Glass"});
        const Session* s = store->session("s1");
        QVERIFY(s->status.kind == Status::Kind::idle);
        QCOMPARE(s->justFinishedAt, std::optional<QDateTime>(fakes.now));
        QCOMPARE(s->lastStoppedAt, std::optional<QDateTime>(fakes.now));
        QCOMPARE(store->justFinished().size(), size_t(1));

        // A second stop half-way: the first stop's deadline, not the second's, ends the mark.
        QTest::qWait(500);
        if (!store->session("s1")->justFinishedAt || clock.elapsed() > 750)
            QSKIP("the machine is too slow to place a second stop inside the period");
        const qint64 secondStop = clock.elapsed();
        store->handle(hookEvent(Kind::stop, "s1"), nullptr);
        QTRY_VERIFY_WITH_TIMEOUT(!store->session("s1")->justFinishedAt, 10000);
        const qint64 clearedAfterSecond = clock.elapsed() - secondStop;
        QVERIFY2(clearedAfterSecond < 875, qPrintable(QString::number(clearedAfterSecond)));
        QVERIFY(clock.elapsed() >= 975);
        QVERIFY(store->justFinished().empty());
        QVERIFY(store->session("s1")->lastStoppedAt); // only the mark goes

        // A store gone before its deadline leaves no timer behind to touch freed memory.
        auto gone = makeStore(fakes, {}, std::chrono::milliseconds(50));
        gone->handle(hookEvent(Kind::stop, "s1"), nullptr);
        gone.reset();
        QTest::qWait(200);
    }

    void transcriptAfterStopRespectsTheGrace() {
        StoreFakes fakes;
        const QDateTime stopTime = fakes.now;
        auto store = makeStore(fakes);
        store->handle(hookEvent(Kind::stop, "s1"), nullptr);

        DiscoveredSession echo = discovered("s1", stopTime.addSecs(1), false);
        echo.lastAssistant = QStringLiteral("Done.");
        store->reconcileDiscovered({echo});
        QVERIFY(store->session("s1")->status.kind == Status::Kind::idle);
        QCOMPARE(store->session("s1")->lastAssistantMessage, std::optional<QString>("Done."));
        QCOMPARE(store->session("s1")->lastTranscriptMtime, std::optional<QDateTime>(echo.mtime));

        store->reconcileDiscovered({discovered("s1", stopTime.addSecs(3), false)});
        QVERIFY(store->session("s1")->status.kind == Status::Kind::working);
        QCOMPARE(store->session("s1")->lastAssistantMessage, std::optional<QString>("Done."));

        store->reconcileDiscovered({discovered("s1", stopTime.addSecs(4), true)});
        QVERIFY(store->session("s1")->status.kind == Status::Kind::idle);

        // A stop a minute old no longer holds the session idle.
        fakes.now = stopTime.addSecs(60);
        store->reconcileDiscovered({discovered("s1", stopTime.addSecs(1), false)});
        QVERIFY(store->session("s1")->status.kind == Status::Kind::working);
        // The latest of event and transcript times; an older transcript does not move it back.
        QCOMPARE(store->session("s1")->lastEvent, stopTime.addSecs(4));

        // Never stopped: any transcript activity means working.
        store->reconcileDiscovered({discovered("s2", stopTime, false)});
        QVERIFY(store->session("s2")->status.kind == Status::Kind::working);
        QCOMPARE(store->session("s2")->lastEvent, stopTime);
    }

    void waitingSessionSurvivesTranscriptPruneAndEmptyDiscovery() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        Answers answers;
        store->handle(permissionRequest("s1", "Bash", bashInput("rm -rf build")),
                      answers.respond());
        QVERIFY(store->session("s1")->status.isWaiting());
        QCOMPARE(store->pending().size(), size_t(1));

        store->reconcileDiscovered({discovered("s1", fakes.now.addSecs(10), true)});
        QVERIFY(store->session("s1")->status.isWaiting());
        store->reconcileDiscovered({discovered("s1", fakes.now.addSecs(20), false)});
        QVERIFY(store->session("s1")->status.isWaiting());

        fakes.aliveCwds.clear();
        capturedStderr([&] { store->pruneDeadProcesses(); });
        QVERIFY(store->session("s1")->status.isWaiting());

        // An empty discovery removes every other session, whatever brought it.
        store->reconcileDiscovered({discovered("fromTranscript", fakes.now, false)});
        store->handle(hookEvent(Kind::notification, "hookOnly"), nullptr);
        store->handle(hookEvent(Kind::stop, "stopped"), nullptr);
        QSignalSpy changed(store.get(), &SessionStore::sessionsChanged);
        store->reconcileDiscovered({});
        QCOMPARE(store->sessions().size(), size_t(1));
        QVERIFY(store->session("s1")->status.isWaiting());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(answers.count(), size_t(0));
        QTest::qWait(50); // the removed session's clearing timer must be gone with it
    }

    void pruneLogsAndKeepsLiveCwds() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        store->handle(hookEvent(Kind::notification, "0123456789abcdef"), nullptr);
        store->handle(hookEvent(Kind::notification, "alive"), nullptr);
        fakes.aliveCwds = {"/work/alive", "/other"};
        QSignalSpy changed(store.get(), &SessionStore::sessionsChanged);
        const QByteArray log = capturedStderr([&] { store->pruneDeadProcesses(); });
        QCOMPARE(log, QByteArray("Prune: removing session 01234567 cwd=/work/0123456789abcdef "
                                 "(not in alive=[\"/other\", \"/work/alive\"])\n"));
        QVERIFY(!store->session("0123456789abcdef"));
        QVERIFY(store->session("alive"));
        QCOMPARE(changed.count(), 1);

        const QByteArray quiet = capturedStderr([&] { store->pruneDeadProcesses(); });
        QVERIFY(quiet.isEmpty());
        QCOMPARE(changed.count(), 1);
    }

    void derivedListsAreNewestFirstAndStable() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        store->handle(hookEvent(Kind::notification, "b", 100), nullptr);
        store->handle(hookEvent(Kind::notification, "a", 100), nullptr);
        store->handle(hookEvent(Kind::notification, "c", 300), nullptr);
        store->handle(permissionRequest("d", "Edit", "{}", 200), nullptr);
        store->handle(permissionRequest("e", "Edit", "{}", 400), nullptr);
        const auto ids = [](const std::vector<Session>& list) {
            std::vector<QString> out;
            for (const Session& s : list)
                out.push_back(s.sessionId);
            return out;
        };
        // Equal dates keep the dictionary's (id) order.
        QCOMPARE(ids(store->allSorted()), (std::vector<QString>{"e", "c", "d", "a", "b"}));
        QCOMPARE(ids(store->pending()), (std::vector<QString>{"e", "d"}));

        fakes.now = QDateTime::currentDateTimeUtc();
        store->handle(hookEvent(Kind::stop, "a"), nullptr);
        fakes.now = fakes.now.addSecs(1);
        store->handle(hookEvent(Kind::stop, "c"), nullptr);
        QCOMPARE(ids(store->justFinished()), (std::vector<QString>{"c", "a"}));
    }

    void unchangedValuesEmitNothing() {
        StoreFakes fakes;
        auto store = makeStore(fakes);
        DiscoveredSession d = discovered("s1", fakes.now, true);
        d.firstPrompt = QStringLiteral("fix the build");
        d.claudePid = 42;
        QSignalSpy changed(store.get(), &SessionStore::sessionsChanged);
        store->reconcileDiscovered({d});
        QCOMPARE(changed.count(), 1);
        store->reconcileDiscovered({d});
        d.firstPrompt.reset(); // absent: keeps the known prompt, so still nothing new
        store->reconcileDiscovered({d});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(store->session("s1")->firstUserPrompt, std::optional<QString>("fix the build"));
        store->resolve("s1", HookDecision{}); // idle: nothing to resolve
        QCOMPARE(changed.count(), 1);
        capturedStderr([&] { store->pruneDeadProcesses(); }); // nothing alive
        QCOMPARE(changed.count(), 2);
        QVERIFY(store->sessions().empty());
    }
};

QTEST_GUILESS_MAIN(TestSessionStore)
#include "tst_sessionstore.moc"
