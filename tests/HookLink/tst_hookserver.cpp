// SPDX-License-Identifier: MIT
// The hook server against real Unix sockets: good exchanges, bad input, vanishing and
// many clients, strangers, and the socket file's life.
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <mutex>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>

#include "../support/Files.h"
#include "HookClient.h"
#include "HookLink/HookServer.h"
#include "StoreFixture.h"

using namespace std::chrono_literals;
using Kind = HookEvent::Kind;

namespace {

std::mutex logMutex;
QStringList logLines;

void captureLog(QtMsgType, const QMessageLogContext&, const QString& message) {
    std::lock_guard lock(logMutex);
    logLines << message;
}

bool logged(const QString& line) {
    std::lock_guard lock(logMutex);
    return logLines.contains(line);
}

std::string line(const HookEvent& e) {
    return e.encode() + '\n';
}

const std::string passthrough = "{\"decision\":\"passthrough\"}\n";

// Sends one request and returns what came back, the store answering meanwhile.
std::string answerTo(const std::string& path, const std::string& request) {
    auto reply = exchangeAsync(path, request);
    (void)QTest::qWaitFor([&] { return isReady(reply); }, 30000);
    return isReady(reply) ? reply.get().received : "(no answer)";
}

} // namespace

class TestHookServer : public QObject {
    Q_OBJECT

private:
    // A store and a started server on one socket.
    struct Served {
        std::unique_ptr<SessionStore> store;
        std::string path;
        HookServer server;
        Served(StoreFakes& fakes, std::string at, std::chrono::milliseconds wait)
            : store(makeStore(fakes)), path(std::move(at)), server(store.get(), path, wait) {
            server.start();
        }
    };
    std::string socketIn(const char* name) { return m_dir->filePath(name).toStdString(); }
    std::unique_ptr<QTemporaryDir> m_dir;
    StoreFakes m_fakes;

private slots:
    void initTestCase() { qInstallMessageHandler(captureLog); }

    void init() {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        std::lock_guard lock(logMutex);
        logLines.clear();
    }

    void answersEveryDecodedEvent() {
        Served s(m_fakes, socketIn("hook.sock"), 20s);
        auto& [store, path, server] = s;
        QCOMPARE(answerTo(path, line(hookEvent(Kind::stop, "s1"))), passthrough);
        QCOMPARE(answerTo(path, line(hookEvent(Kind::notification, "s1"))), passthrough);
        QCOMPARE(store->session("s1")->history.size(), size_t(2));
        QCOMPARE(m_fakes.soundsPlayed, QStringList{"Glass"});
    }

    void badInputIsClosedUnanswered_data() {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QString>("why");
        QTest::newRow("garbage") << QByteArray("\x01\x02 hello\n") << "";
        QTest::newRow("empty connection") << QByteArray() << "no data";
        QTest::newRow("unknown kind")
            << QByteArray(R"({"kind":"PreToolUse","sessionId":"s","cwd":"/","timestamp":1})"
                          "\n")
            << "not a hook event (kind, sessionId, cwd or timestamp missing or invalid, or a field "
               "of the wrong type)";
        QTest::newRow("array") << QByteArray("[1,2]\n") << "not a JSON object";
        QTest::newRow("line feed first") << QByteArray("\n{\"kind\":\"stop\"}") << "no data";
        QTest::newRow("nested 100,000 deep")
            << QByteArray(R"({"kind":"stop","sessionId":"s","cwd":"/","timestamp":1,"x":)") +
                   QByteArray(100000, '[') + QByteArray(100000, ']') + "}\n"
            << "nested deeper than 64 levels";
    }

    void badInputIsClosedUnanswered() {
        QFETCH(QByteArray, request);
        QFETCH(QString, why);
        Served s(m_fakes, socketIn("hook.sock"), 20s);
        auto& [store, path, server] = s;
        auto reply = exchangeAsync(path, request.toStdString(), AfterWrite::shutDownWriting);
        QTRY_VERIFY_WITH_TIMEOUT(isReady(reply), 30000);
        const HookReply r = reply.get();
        QVERIFY(r.connected);
        QCOMPARE(r.received, std::string());
        // Closed, not reset, unless bytes were left unread behind a line feed.
        if (!request.contains('\n') || request.endsWith('\n'))
            QCOMPARE(r.readErrno, 0);
        QVERIFY(store->sessions().empty());
        std::lock_guard lock(logMutex);
        const QStringList errors = logLines.filter("Hollowmere: decode error: ");
        QCOMPARE(errors.size(), 1);
        if (!why.isEmpty())
            QCOMPARE(errors.first(), "Hollowmere: decode error: " + why);
    }

    void requestEndsAtLineFeedOrEndOfStream() {
        Served s(m_fakes, socketIn("hook.sock"), 20s);
        auto& [store, path, server] = s;
        // A megabyte without a line feed: the end of the stream ends it.
        HookEvent event = hookEvent(Kind::notification, "big");
        event.message = std::string(1 << 20, 'm');
        auto whole = exchangeAsync(path, event.encode(), AfterWrite::shutDownWriting);
        QTRY_VERIFY_WITH_TIMEOUT(isReady(whole), 30000);
        QCOMPARE(whole.get().received, passthrough);
        QCOMPARE(store->session("big")->history.back().summary.size(), qsizetype(1 << 20));

        // A second, valid request follows the first line. The writer keeps its end open: a server
        // that read on would wait for more instead of answering.
        const std::string request =
            line(hookEvent(Kind::stop, "first")) + line(hookEvent(Kind::stop, "second"));
        auto reply = exchangeAsync(path, request, AfterWrite::keepOpen);
        QTRY_VERIFY_WITH_TIMEOUT(isReady(reply), 30000);
        const HookReply r = reply.get();
        QCOMPARE(r.received, passthrough);
        QVERIFY(store->session("first") && !store->session("second"));
        // Linux resets the peer of a socket closed with unread data: the proof they were left
        // there.
        QCOMPARE(r.readErrno, ECONNRESET);
    }

    void endlessRequestIsCutOff() {
        Served s(m_fakes, socketIn("hook.sock"), 20s);
        auto& [store, path, server] = s;
        // Far more than any hook sends, and no end in sight: the server stops reading and closes.
        auto reply = exchangeAsync(path, std::string(80u << 20, ' '), AfterWrite::keepOpen);
        QTRY_VERIFY_WITH_TIMEOUT(isReady(reply), 60000);
        QCOMPARE(reply.get().received, std::string());
        QTRY_VERIFY(logged("Hollowmere: decode error: request larger than 67108864 bytes"));
    }

    void unansweredOrAbandonedPromptsEndQuietly() {
        Served s(m_fakes, socketIn("hook.sock"), 300ms);
        auto& [store, path, server] = s;
        const HookDecision approve{HookDecision::Decision::approve, {}, {}};
        QCOMPARE(answerTo(path, line(permissionRequest("s1", "Edit", "{}"))), passthrough);
        QVERIFY(store->session("s1")->status.isWaiting()); // the card may still be answered...
        store->resolve("s1", approve);                     // ...into the void
        QVERIFY(store->session("s1")->status.kind == Status::Kind::working);

        // Answered after the client left, or the worker's own wait runs out and it writes into
        // the closed socket: neither may take the app down.
        auto gone = exchangeAsync(path, line(permissionRequest("s2", "Edit", "{}")),
                                  AfterWrite::closeAtOnce);
        QTRY_VERIFY_WITH_TIMEOUT(store->session("s2") && store->session("s2")->status.isWaiting(),
                                 30000);
        store->resolve("s2", approve);
        auto gone2 = exchangeAsync(path, line(permissionRequest("s3", "Edit", "{}")),
                                   AfterWrite::closeAtOnce);
        QTRY_VERIFY_WITH_TIMEOUT(store->session("s3"), 30000);
        QTest::qWait(600);
        QCOMPARE(answerTo(path, line(hookEvent(Kind::stop, "s4"))), passthrough);
    }

    void manyPromptsWaitAndAreAnsweredEachOnItsOwn() {
        Served s(m_fakes, socketIn("hook.sock"), 120s);
        auto& [store, path, server] = s;
        const auto allReady = [](const std::vector<std::future<HookReply>>& replies) {
            return std::all_of(replies.begin(), replies.end(), [](auto& f) { return isReady(f); });
        };
        // 200 prompts wait at once, each holding its connection; only a thread per connection
        // gets every one of them read and handed over.
        std::vector<std::future<HookReply>> prompts, stops;
        prompts.push_back(
            exchangeAsync(path, line(permissionRequest("p0", "Bash", bashInput("ls")))));
        for (int i = 1; i < 200; ++i)
            prompts.push_back(exchangeAsync(
                path, line(permissionRequest("p" + std::to_string(i), "Edit", "{}"))));
        QTRY_VERIFY_WITH_TIMEOUT(store->pending().size() == 200, 60000);

        // Meanwhile other hooks are answered as usual.
        for (int i = 0; i < 50; ++i)
            stops.push_back(
                exchangeAsync(path, line(hookEvent(Kind::stop, "s" + std::to_string(i)))));
        QTRY_VERIFY_WITH_TIMEOUT(allReady(stops), 60000);
        for (auto& f : stops)
            QCOMPARE(f.get().received, passthrough);
        QVERIFY(std::none_of(prompts.begin(), prompts.end(), [](auto& f) { return isReady(f); }));

        store->resolve("p1",
                       HookDecision{HookDecision::Decision::deny, "User denied", std::nullopt});
        QTRY_VERIFY_WITH_TIMEOUT(isReady(prompts[1]), 30000);
        QCOMPARE(prompts[1].get().received,
                 std::string(R"({"decision":"deny","reason":"User denied"})"
                             "\n"));
        QVERIFY(!isReady(prompts[0]));
        store->resolveAlways("p0");
        for (const Session& s : store->pending())
            store->resolve(s.sessionId, HookDecision{HookDecision::Decision::approve, {}, {}});
        prompts.erase(prompts.begin() + 1);
        QTRY_VERIFY_WITH_TIMEOUT(allReady(prompts), 60000);
        for (auto& f : prompts)
            QCOMPARE(f.get().received, std::string("{\"decision\":\"approve\"}\n"));
        QCOMPARE(m_fakes.rulesWritten, QStringList{"Bash(ls:*)"});
    }

    void strangerIsClosedUnanswered() {
        if (geteuid() != 0)
            QSKIP("needs root to connect as another user");
        const passwd* nobody = getpwnam("nobody");
        QVERIFY(nobody);
        const uid_t strangerUid = nobody->pw_uid;
        const gid_t strangerGid = nobody->pw_gid;
        Served s(m_fakes, socketIn("hook.sock"), 20s);
        auto& [store, path, server] = s;
        // Let the stranger reach the socket at all; only the server's own check stands in its way.
        QVERIFY(chmod(m_dir->path().toUtf8().constData(), 0755) == 0);
        QVERIFY(chmod(path.c_str(), 0777) == 0);

        const std::string request = line(hookEvent(Kind::stop, "stranger"));
        const pid_t child = fork();
        if (child == 0) {
            // Only async-signal-safe calls from here on.
            if (setgid(strangerGid) != 0 || setuid(strangerUid) != 0)
                _exit(3);
            const int fd = connectTo(path);
            if (fd < 0)
                _exit(2);
            // Refused at once, the socket may already be closed before the request is written.
            const ssize_t sent = send(fd, request.data(), request.size(), MSG_NOSIGNAL);
            if (sent < 0)
                _exit(errno == EPIPE || errno == ECONNRESET ? 0 : 4);
            char c;
            const ssize_t n = read(fd, &c, 1);
            // The request is never read, so the close may come as a reset.
            _exit(n == 0 || (n < 0 && errno == ECONNRESET) ? 0 : n > 0 ? 1 : 5);
        }
        QVERIFY(child > 0);
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0); // connected, then closed without a byte
        QTRY_VERIFY(
            logged(QStringLiteral("Hollowmere: refused connection from uid=%1").arg(strangerUid)));
        QTest::qWait(100);
        QVERIFY(store->sessions().empty());

        auto own = exchangeAsync(path, request); // the same bytes from our own user are served
        QTRY_VERIFY_WITH_TIMEOUT(isReady(own), 30000);
        QCOMPARE(own.get().received, passthrough);
    }

    void staleSocketFileIsReplaced() {
        auto store = makeStore(m_fakes);
        const std::string path = socketIn("hook.sock");
        // A socket file left behind by a process that died without cleaning up.
        const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        QCOMPARE(bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(stale);
        QCOMPARE(connectTo(path), -1); // nobody listens there

        HookServer server(store.get(), path, 20s);
        server.start();
        QCOMPARE(answerTo(path, line(hookEvent(Kind::stop, "s1"))), passthrough);

        // A plain file in the way goes too.
        writeBytes(m_dir->filePath("plain"), "x");
        HookServer again(store.get(), socketIn("plain"), 20s);
        again.start();
        QCOMPARE(answerTo(socketIn("plain"), line(hookEvent(Kind::stop, "s2"))), passthrough);
    }

    void secondInstanceTakesOverAndBindFailureThrows() {
        StoreFakes firstFakes;
        auto firstStore = makeStore(firstFakes);
        auto secondStore = makeStore(m_fakes);
        const std::string path = socketIn("hook.sock");
        auto first = std::make_unique<HookServer>(firstStore.get(), path, 20s);
        first->start();
        HookServer second(secondStore.get(), path, 20s);
        second.start();
        QCOMPARE(answerTo(path, line(hookEvent(Kind::stop, "s1"))), passthrough);
        QVERIFY(secondStore->session("s1") && firstStore->sessions().empty());
        first.reset(); // the first instance quits: it must not take the second one's socket with it
        QCOMPARE(answerTo(path, line(hookEvent(Kind::stop, "s2"))), passthrough);
        QVERIFY(secondStore->session("s2"));

        HookServer nowhere(secondStore.get(), socketIn("missing-dir/hook.sock"), 1s);
        try {
            nowhere.start();
            QFAIL("start() did not throw");
        } catch (const std::system_error& e) {
            QVERIFY(e.code() == std::error_code(EADDRINUSE, std::generic_category()));
        }
    }

    void storeGoneMeansPassthrough() {
        Served s(m_fakes, socketIn("hook.sock"), 60s);
        auto& [store, path, server] = s;
        store.reset();
        QCOMPARE(answerTo(path, line(permissionRequest("s1", "Edit", "{}"))), passthrough);
    }
};

QTEST_GUILESS_MAIN(TestHookServer)
#include "tst_hookserver.moc"
