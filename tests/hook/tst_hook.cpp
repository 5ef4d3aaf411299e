// SPDX-License-Identifier: MIT
// hollowmere-hook as Claude Code runs it: a real process with hook input on stdin, against a
// real socket server at the real path (this test runs with a private /tmp).
#include "FakeApp.h"

#include "Protocol.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <nlohmann/json.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using nlohmann::json;

namespace {

struct HookRun {
    QByteArray output;
    QByteArray errors;
    bool finishedCleanly = false;
    qint64 elapsedMs = 0;
};

QString hookPath() {
    return qEnvironmentVariable("HOLLOWMERE_BIN_DIR") + "/hollowmere-hook";
}

json preToolUse(json toolInput = {{"command", "ls -la"}, {"description", "List files"}},
                std::string tool = "Bash") {
    return {{"session_id", "session-1"},       {"transcript_path", "/nowhere/session-1.jsonl"},
            {"cwd", "/work/project"},          {"permission_mode", "default"},
            {"hook_event_name", "PreToolUse"}, {"tool_name", tool},
            {"tool_input", toolInput},         {"tool_use_id", "toolu_1"}};
}

// Runs `program` (the hook unless told otherwise) with `input` on stdin and waits for it.
HookRun runHook(const QByteArray& input, const QString& program = hookPath(),
                const QStringList& arguments = {},
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
                bool closeInput = true) {
    QProcess process;
    process.setProcessEnvironment(environment);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    HookRun run;
    if (!process.waitForStarted())
        return run;
    process.write(input);
    if (closeInput)
        process.closeWriteChannel();
    process.waitForFinished(90'000);
    run.elapsedMs = timer.elapsed();
    run.output = process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    run.finishedCleanly = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return run;
}

// nlohmann::json has no printer Qt Test knows of.
#define COMPARE_JSON(actual, expected)                                                             \
    QVERIFY2((actual) == (expected),                                                               \
             qPrintable(QString::fromStdString((actual).dump() + " != " + (expected).dump())))

// A socket bound at the shared path; listening or, for a stale file, not. Safe after fork.
int listener(bool listening) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, socketPath);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        (listening && ::listen(fd, 4) != 0))
        return -1;
    return fd;
}

json parsed(const QByteArray& output) {
    return json::parse(output.toStdString(), nullptr, false);
}

// What Claude Code sends when it is about to show its own permission dialog.
json permissionRequest(json toolInput = {{"command", "touch m"}, {"description", "Make m"}},
                       std::string tool = "Bash") {
    json input = preToolUse(std::move(toolInput), std::move(tool));
    input["hook_event_name"] = "PermissionRequest";
    input.erase("tool_use_id");
    input["permission_suggestions"] = json::array(
        {{{"type", "addDirectories"}, {"directories", {"/work"}}, {"destination", "session"}}});
    return input;
}

json questionInput() {
    return {{"questions",
             {{{"question", "Which colour?"},
               {"header", "Colour"},
               {"multiSelect", false},
               {"options",
                {{{"label", "Red"}, {"description", "warm"}},
                 {{"label", "Blue"}, {"description", "cool"}}}}}}}};
}

json permissionRequestAnswer(json decision) {
    return {{"hookSpecificOutput",
             {{"hookEventName", "PermissionRequest"}, {"decision", std::move(decision)}}}};
}

json preToolUseAnswer(const char* decision, const char* reason) {
    return {{"hookSpecificOutput",
             {{"hookEventName", "PreToolUse"},
              {"permissionDecision", decision},
              {"permissionDecisionReason", reason}}}};
}

} // namespace

class HookTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Where no private /tmp can be had (macOS), the shared path must at least be free.
        if (qEnvironmentVariable("HOLLOWMERE_ISOLATED") != "1" && QFile::exists(socketPath))
            QSKIP("/tmp/hollowmere.sock is in use: run under tests/support/isolated.sh");
        QVERIFY(QFile::exists(hookPath()));
    }

    void answersInTheShapeOfTheHookThatRan_data() {
        QTest::addColumn<bool>("permissionRequestHook"); // else PreToolUse
        QTest::addColumn<bool>("question");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QByteArray>("expected"); // JSON, or empty for no opinion

        auto pre = [](const char* decision, const char* reason) {
            return QByteArray::fromStdString(preToolUseAnswer(decision, reason).dump());
        };
        auto asked = [](json decision) {
            return QByteArray::fromStdString(permissionRequestAnswer(std::move(decision)).dump());
        };
        const QByteArray approve = "{\"decision\":\"approve\"}\n";
        const QByteArray denied = "{\"decision\":\"deny\",\"reason\":\"User denied\"}\n";
        const QByteArray picked = "{\"decision\":\"approve\",\"picked\":\"Blue\"}\n";
        QTest::newRow("approve") << false << false << approve
                                 << pre("allow", "Approved in Hollowmere");
        QTest::newRow("deny with reason") << false << false << denied << pre("deny", "User denied");
        QTest::newRow("deny without reason")
            << false << false << QByteArray("{\"decision\":\"deny\"}\n")
            << pre("deny", "Denied in Hollowmere");
        QTest::newRow("answer ended by closing")
            << false << false << approve.chopped(1) << pre("allow", "Approved in Hollowmere");
        QTest::newRow("passthrough")
            << false << false << QByteArray("{\"decision\":\"passthrough\"}\n") << QByteArray();
        QTest::newRow("garbage") << false << false << QByteArray("approve\n") << QByteArray();
        // An approval that picked a choice carries it as the answer, so Claude Code does not ask.
        json answered = questionInput();
        answered["answers"] = {{"Which colour?", "Blue"}};
        json preAnswered = preToolUseAnswer("allow", "Approved in Hollowmere");
        preAnswered["hookSpecificOutput"]["updatedInput"] = answered;
        QTest::newRow("picked choice")
            << false << true << picked << QByteArray::fromStdString(preAnswered.dump());

        QTest::newRow("asked: approve")
            << true << false << approve << asked({{"behavior", "allow"}});
        QTest::newRow("asked: deny")
            << true << false << denied << asked({{"behavior", "deny"}, {"message", "User denied"}});
        QTest::newRow("asked: passthrough")
            << true << false << QByteArray("{\"decision\":\"passthrough\"}\n") << QByteArray();
        QTest::newRow("asked: picked choice")
            << true << true << picked << asked({{"behavior", "allow"}, {"updatedInput", answered}});
    }

    void answersInTheShapeOfTheHookThatRan() {
        QFETCH(bool, permissionRequestHook);
        QFETCH(bool, question);
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, expected);
        FakeApp app(socketPath);
        QVERIFY(app.listening());
        app.answerWith(answer.toStdString());
        json input = question ? preToolUse(questionInput(), "AskUserQuestion") : preToolUse();
        if (permissionRequestHook)
            input = permissionRequest(input["tool_input"], input["tool_name"].get<std::string>());

        double before = nowSinceReferenceDate();
        auto run = runHook(QByteArray::fromStdString(input.dump()));
        double after = nowSinceReferenceDate();
        QVERIFY(run.finishedCleanly);
        if (expected.isEmpty())
            QCOMPARE(run.output, QByteArray());
        else
            COMPARE_JSON(parsed(run.output), parsed(expected));

        // What the app was told: the same permission request whichever hook ran.
        QCOMPARE(app.requests().size(), size_t(1));
        auto event = HookEvent::decode(app.requests().front());
        QVERIFY(event && event->kind == HookEvent::Kind::permissionRequest);
        QVERIFY(event->sessionId == "session-1" && event->cwd == "/work/project");
        QCOMPARE(event->tool, std::optional<std::string>(input["tool_name"].get<std::string>()));
        COMPARE_JSON(parsed(QByteArray::fromStdString(event->toolInput.value_or(""))),
                     input["tool_input"]);
        QVERIFY(event->toolInput->find('\n') == std::string::npos);
        QVERIFY(event->timestamp >= before - 1 && event->timestamp <= after + 1);
        if (!permissionRequestHook)
            QCOMPARE(event->suggestions,
                     question ? std::optional(std::vector<std::string>{"Red", "Blue"})
                              : std::nullopt);
        QCOMPARE(event->message, std::nullopt);
    }

    void otherEventsAreForwardedAndNeverAnswered() {
        FakeApp app(socketPath);
        app.answerWith("{\"decision\":\"approve\"}\n");
        const json notification = json::parse(
            R"({"session_id": "session-2", "cwd": "/work/other", "hook_event_name": "Notification",
                "message": "Claude needs your permission", "notification_type": "permission_prompt"})");
        const json stop = json::parse(R"({"session_id": "session-2", "cwd": "/work/other",
                                          "hook_event_name": "Stop", "stop_hook_active": false})");
        for (const json& input : {notification, stop}) {
            auto run = runHook(QByteArray::fromStdString(input.dump()));
            QVERIFY(run.finishedCleanly && run.output.isEmpty());
        }
        QCOMPARE(app.requests().size(), size_t(2));
        auto forwarded = HookEvent::decode(app.requests()[0]);
        QVERIFY(forwarded && forwarded->kind == HookEvent::Kind::notification && !forwarded->tool);
        QCOMPARE(forwarded->message, std::optional<std::string>("Claude needs your permission"));
        auto stopped = HookEvent::decode(app.requests()[1]);
        QVERIFY(stopped && stopped->kind == HookEvent::Kind::stop);
        QCOMPARE(stopped->sessionId, "session-2");
    }

    void reportsItsClaudeAndTerminal() {
        // kitty (a shell under that name) runs claude (another one), which runs the hook the way
        // Claude Code does, through a shell.
        QTemporaryDir dir;
        for (auto name : {"kitty", "claude"}) {
            QVERIFY(QFile::copy("/bin/dash", dir.filePath(name)));
            QVERIFY(QFile::setPermissions(dir.filePath(name), QFile::ReadOwner | QFile::ExeOwner));
        }
        FakeApp app(socketPath);
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("CLAUDE", dir.filePath("claude"));
        environment.insert("HOOK", hookPath());
        environment.insert("ITERM_SESSION_ID", "w0t1p0:8A2C1E4F-0000-4000-8000-000000000001");
        auto run = runHook(QByteArray::fromStdString(preToolUse().dump()), dir.filePath("kitty"),
                           {"-c", "\"$CLAUDE\" -c 'echo $$ >&2; sh -c \"$HOOK\"; exit $?'; "
                                  "echo $$ >&2; exit $?"},
                           environment);
        QVERIFY(run.finishedCleanly);
        auto pids = run.errors.trimmed().split('\n');
        QCOMPARE(pids.size(), 2);

        auto event = HookEvent::decode(app.requests().at(0));
        QVERIFY(event);
        QCOMPARE(event->claudePid, std::optional<int32_t>(pids[0].toInt()));
        QCOMPARE(event->terminalBundleId, std::optional<std::string>("net.kovidgoyal.kitty"));
        QCOMPARE(event->terminalPid, std::optional<int32_t>(pids[1].toInt()));
        QCOMPARE(event->iTermSessionId,
                 std::optional<std::string>("w0t1p0:8A2C1E4F-0000-4000-8000-000000000001"));
    }

    void inputLeftOpenOrLargeStillCounts() {
        // A writer that never closes stdin: the hook acts once it holds a whole JSON object
        // instead of waiting out its input bound with nothing to show. And a Write of a whole
        // file is forwarded whole.
        FakeApp app(socketPath);
        app.answerWith("{\"decision\":\"approve\"}\n");
        json big = {{"file_path", "/work/project/big.txt"},
                    {"content", std::string(1024 * 1024, 'x') + "\n\"end\""}};
        for (const json& input : {preToolUse(), preToolUse(big, "Write")}) {
            auto run = runHook(QByteArray::fromStdString(input.dump()), hookPath(), {},
                               QProcessEnvironment::systemEnvironment(), /*closeInput=*/false);
            QVERIFY(run.finishedCleanly);
            COMPARE_JSON(parsed(run.output), preToolUseAnswer("allow", "Approved in Hollowmere"));
        }
        auto event = HookEvent::decode(app.requests().at(1));
        QVERIFY(event);
        COMPARE_JSON(parsed(QByteArray::fromStdString(*event->toolInput)), big);
    }

    void inputWithoutOpinion_data() {
        QTest::addColumn<QByteArray>("input");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("PreToolUse please\n");
        QTest::newRow("truncated") << QByteArray::fromStdString(preToolUse().dump()).chopped(5);
        QTest::newRow("array") << QByteArray("[1,2,3]");
        QTest::newRow("unknown hook") << QByteArray::fromStdString(
            json{{"session_id", "s"}, {"cwd", "/"}, {"hook_event_name", "SessionStart"}}.dump());
        // Claude Code passes on whatever the model wrote as the tool's input.
        QTest::newRow("tool input nested 100,000 deep")
            << QByteArray(R"({"session_id":"s","cwd":"/","hook_event_name":"PreToolUse",)"
                          R"("tool_name":"mcp__x","tool_input":)") +
                   QByteArray(100000, '[') + QByteArray(100000, ']') + "}";
        QTest::newRow("no session") << QByteArray::fromStdString(
            json{{"cwd", "/"}, {"hook_event_name", "PreToolUse"}, {"tool_name", "Bash"}}.dump());
    }

    void inputWithoutOpinion() {
        QFETCH(QByteArray, input);
        FakeApp app(socketPath);
        app.answerWith("{\"decision\":\"approve\"}\n");
        auto run = runHook(input);
        QVERIFY(run.finishedCleanly);
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(app.connections(), 0);
    }

    void noAppMeansNoOpinion() {
        const auto input = QByteArray::fromStdString(preToolUse().dump());
        const auto noOpinion = [&] {
            const auto run = runHook(input);
            return run.finishedCleanly && run.output.isEmpty();
        };
        ::unlink(socketPath);
        QVERIFY(noOpinion());
        // A socket file left behind by an app that is gone.
        const int fd = listener(false);
        ::close(fd);
        QVERIFY(QFile::exists(socketPath));
        QVERIFY(noOpinion());
        ::unlink(socketPath);

        FakeApp closing(socketPath);
        closing.behave(FakeApp::Behaviour::closeAtOnce);
        QVERIFY(noOpinion());
        QCOMPARE(closing.connections(), 1);
    }

    void strangerGetsNothing() {
        if (::geteuid() != 0)
            QSKIP("needs root to start a server as another user");
        ::unlink(socketPath);
        int ready[2], result[2];
        QVERIFY(::pipe(ready) == 0 && ::pipe(result) == 0);
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            // Only system calls from here: the parent has threads.
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(1);
            const int fd = listener(true);
            (void)!::write(ready[1], "r", 1);
            pollfd p{fd, POLLIN, 0};
            if (fd < 0 || ::poll(&p, 1, 60'000) != 1)
                ::_exit(3);
            const int client = ::accept(fd, nullptr, nullptr);
            const char approve[] = "{\"decision\":\"approve\"}\n";
            (void)!::write(client, approve, sizeof approve - 1);
            long received = 0;
            char buffer[4096];
            for (ssize_t n; (n = ::read(client, buffer, sizeof buffer)) > 0;)
                received += n;
            (void)!::write(result[1], &received, sizeof received);
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(result[1]);
        char byte = 0;
        QCOMPARE(::read(ready[0], &byte, 1), ssize_t(1));
        const auto run = runHook(QByteArray::fromStdString(preToolUse().dump()));
        long received = -1;
        const bool reported = ::read(result[0], &received, sizeof received) == sizeof received;
        ::waitpid(child, nullptr, 0);
        ::close(ready[0]);
        ::close(result[0]);
        ::unlink(socketPath);
        QVERIFY(run.finishedCleanly && run.output.isEmpty());
        QVERIFY(reported);
        QCOMPARE(received, 0L); // not even the event went to the stranger
    }

    void silentAppIsGivenUpOn() {
        // A Stop waits 5 s for its acknowledgement; the same read gives up on a silent app after
        // 30 s for a permission request, which the end-to-end case without an answer holds to
        // the app's 25 s.
        FakeApp app(socketPath);
        app.behave(FakeApp::Behaviour::silence);
        json stop = {{"session_id", "s"}, {"cwd", "/"}, {"hook_event_name", "Stop"}};
        auto run = runHook(QByteArray::fromStdString(stop.dump()));
        QVERIFY(run.finishedCleanly);
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(app.requests().size(), size_t(1));
        QVERIFY2(run.elapsedMs >= 4'500, QByteArray::number(run.elapsedMs));
    }
};

QTEST_GUILESS_MAIN(HookTest)
#include "tst_hook.moc"
