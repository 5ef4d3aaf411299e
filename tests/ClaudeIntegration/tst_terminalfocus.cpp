// SPDX-License-Identifier: MIT
// Terminal focus decisions for both systems, over fake platforms: which path a session takes,
// the scripts and commands it runs, and that typing never goes to a window not known for sure.
#include <QtTest>

#include "ClaudeIntegration/InjectionSocket.h"
#include "ClaudeIntegration/TerminalFocusLinux.h"
#include "ClaudeIntegration/TerminalFocusMac.h"
#include "ClaudeIntegration/TerminalFocusService.h"
#include "Platform/TerminalControl.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace TerminalRules;

namespace {

struct FakeMac final : MacTerminalControl {
    QStringList scripts, log;
    BsdInfo info{bsdInfoSize, 0x1000004};
    QHash<int32_t, int32_t> appsByPid;
    QHash<QString, int32_t> appsByBundle;
    std::vector<std::pair<int, std::function<void()>>> delayed;
    std::function<std::unique_ptr<AccessibleElement>()> tree = [] { return nullptr; };

    void runAppleScript(const QString& s) override { scripts << s; }
    BsdInfo bsdInfo(int32_t) override { return info; }
    QString deviceName(int64_t d) override { return d == 0x1000004 ? "ttys004" : QString(); }
    std::optional<int32_t> applicationWithPid(int32_t pid) override {
        return appsByPid.contains(pid) ? std::optional(appsByPid[pid]) : std::nullopt;
    }
    std::optional<int32_t> applicationWithBundleId(const QString& id) override {
        return appsByBundle.contains(id) ? std::optional(appsByBundle[id]) : std::nullopt;
    }
    void activateAllWindows(int32_t pid) override { log << QString("activate %1").arg(pid); }
    std::unique_ptr<AccessibleElement> accessibilityElement(int32_t) override { return tree(); }
    void beep() override { log << "beep"; }
    void after(int ms, std::function<void()> step) override { delayed.emplace_back(ms, step); }
    void runDelayed() {
        for (auto& [ms, step] : std::exchange(delayed, {}))
            step();
    }
};

// A tree of tabs; records every element whose role was read.
struct FakeElement final : AccessibleElement {
    FakeElement(QString role, QString title, std::vector<FakeElement> kids, QStringList* visited)
        : r(role), t(title), kids(std::move(kids)), visited(visited) {}
    QString r, t;
    std::vector<FakeElement> kids;
    QStringList* visited;
    QString role() const override {
        *visited << t;
        return r;
    }
    QString title() const override { return t; }
    void press() override { *visited << "pressed " + t; }
    std::vector<std::unique_ptr<AccessibleElement>> children() const override {
        std::vector<std::unique_ptr<AccessibleElement>> out;
        for (const auto& k : kids)
            out.push_back(std::make_unique<FakeElement>(k));
        return out;
    }
};

struct FakeLinux final : LinuxTerminalControl {
    struct Process {
        int32_t parent;
        QByteArray environ;
    };
    QHash<int32_t, Process> processes;
    QHash<QString, QByteArray> installed; // program -> what it prints, and succeeds
    QStringList commands, log;
    std::vector<WindowInfo> desktop;
    bool activationWorks = true;

    std::optional<QByteArray> environ(int32_t pid) const override {
        return processes.contains(pid) ? std::optional(processes[pid].environ) : std::nullopt;
    }
    std::optional<int32_t> parentPid(int32_t pid) const override {
        return processes.contains(pid) ? std::optional(processes[pid].parent) : std::nullopt;
    }
    std::optional<CommandResult> run(const QString& p, const QStringList& args,
                                     const Environ& env) override {
        commands << (p + " " + args.join(' ') +
                     (env.isEmpty() ? "" : " [" + env.keys().join(',') + "]"));
        return installed.contains(p) ? std::optional(CommandResult{0, installed[p]}) : std::nullopt;
    }
    std::optional<QByteArray> kittyAnswer; // nothing: no kitty listens
    std::optional<QByteArray> kittyExchange(const QString& listenOn,
                                            const QByteArray& request) override {
        commands << "kitty " + listenOn + " " +
                        QJsonDocument::fromJson(request.mid(12).chopped(2))
                            .object()
                            .value("cmd")
                            .toString();
        return kittyAnswer;
    }
    std::vector<WindowInfo> windows() override { return desktop; }
    std::optional<uint64_t> topLevelWindow(uint64_t w) override { return w - 1; }
    bool activate(uint64_t w) override {
        log << QString("activate %1").arg(w);
        return activationWorks;
    }
    bool typeInto(uint64_t w, const QString& line) override {
        log << QString("type %1 %2").arg(w).arg(line);
        return true;
    }
    void beep() override { log << "beep"; }
};

QByteArray env(std::initializer_list<const char*> entries) {
    QByteArray out;
    for (const char* e : entries)
        out += QByteArray(e) + '\0';
    return out;
}

FocusTarget target(std::optional<int32_t> claudePid = 100, std::optional<QString> bundle = {}) {
    const QString id = "s-" + QUuid::createUuid().toString(QUuid::WithoutBraces);
    return {id, "/home/u/work/demo-app/", bundle, {}, claudePid, {}};
}

} // namespace

class TestTerminalFocus : public QObject {
    Q_OBJECT

private slots:
    void labelsIconsAndTexts() {
        // Unknown ids still name a terminal; no id at all, nothing.
        QCOMPARE(TerminalFocusService::terminalLabel(QString("com.example.unknown")), "Terminal");
        QCOMPARE(TerminalFocusService::terminalIcon(QString("com.example.unknown")),
                 "terminal.fill");
        QCOMPARE(TerminalFocusService::terminalLabel(std::nullopt), std::nullopt);
        QCOMPARE(TerminalFocusService::terminalIcon(std::nullopt), "rectangle.dashed");

        // The marker for Return comes off once; everything else stays literal.
        const std::pair<QString, QString> lines[] = {{"2\\r", "2"},       {"hello", "hello"},
                                                     {"a\\r\\r", "a\\r"}, {"x\r", "x"},
                                                     {"y\n", "y"},        {"\\", "\\"}};
        for (const auto& [in, out] : lines)
            QCOMPARE(lineText(in), out);
        QCOMPARE(keystrokeScript("say \\\"hi\""),
                 "tell application \"System Events\"\n    keystroke \"say \\\\\\\"hi\\\"\"\n"
                 "    key code 36\nend tell");
        QCOMPARE(needle("/home/u/demo-app/"), "demo-app");
        QVERIFY(titleContains("zsh — Demo-App — 80x24", "demo-app"));
        QVERIFY(!titleContains("anything", ""));
    }

    void walkPressesTheFirstMatchingTabAboveTheDepthLimit() {
        QStringList visited;
        auto node = [&](QString role, QString title, std::vector<FakeElement> kids = {}) {
            return FakeElement(role, title, std::move(kids), &visited);
        };
        // A chain root(0) > d1 > ... > d7: only depths 0..6 are looked at.
        FakeElement deep = node("AXTab", "demo-app at 7");
        for (int d = 6; d >= 1; --d)
            deep = node("AXGroup", QString("d%1").arg(d), {deep});
        FakeElement root = node("AXApplication", "root",
                                {node("AXTab", "other-project", {node("AXTab", "nested")}), deep});
        QVERIFY(!walk(root, 0, "demo-app"));
        QVERIFY(visited.filter("pressed").isEmpty() && !visited.contains("demo-app at 7"));
        // A tab that does not match is searched below.
        QVERIFY(visited.contains("d6") && visited.contains("nested"));

        visited.clear();
        FakeElement tabs = node("AXApplication", "root",
                                {node("AXTabGroup", "g",
                                      {node("AXRadioButton", "~/work/DEMO-APP — zsh"),
                                       node("AXTab", "demo-app second")})});
        QVERIFY(walk(tabs, 0, "demo-app"));
        QVERIFY(visited.contains("pressed ~/work/DEMO-APP — zsh"));
        QVERIFY(!visited.contains("demo-app second"));
    }

    void macJumpPaths() {
        using O = MacTerminalFocus::Outcome;
        FakeMac mac;
        MacTerminalFocus focus(mac);
        FocusTarget t = target(100, QString(iTermBundleId));
        t.iTermSessionId = "w0t0p0:\"X\"";
        QCOMPARE(focus.jump(t), O::iTerm);
        QVERIFY(mac.scripts.last().contains("is \"w0t0p0:X\" then"));
        t.iTermSessionId.reset(); // no session to name: the running application instead
        QCOMPARE(focus.jump(t), O::beep);
        mac.log.clear();

        t = target(100, QString(appleTerminalBundleId));
        QCOMPARE(focus.jump(t), O::appleTerminal);
        QVERIFY(mac.scripts.last().contains("is \"/dev/ttys004\" then"));
        for (auto bad : {MacTerminalControl::BsdInfo{bsdInfoSize - 1, 0x1000004},
                         MacTerminalControl::BsdInfo{bsdInfoSize, 0},
                         MacTerminalControl::BsdInfo{bsdInfoSize, -1}}) {
            mac.info = bad;
            mac.scripts.clear();
            QCOMPARE(focus.jump(t), O::appleTerminalWithoutTty);
            QVERIFY(mac.scripts.isEmpty() && mac.log.isEmpty()); // no fallback to the generic path
        }

        // Terminal without claudePid, and others: the running application, by pid then bundle id.
        t = target(std::nullopt, QString(appleTerminalBundleId));
        QCOMPARE(focus.jump(t), O::beep);
        mac.appsByBundle[appleTerminalBundleId] = 7;
        t.terminalPid = 42;
        QCOMPARE(focus.jump(t), O::generic);
        mac.appsByPid[42] = 42;
        QStringList visited;
        mac.tree = [&] {
            return std::make_unique<FakeElement>("AXRadioButton", "demo-app",
                                                 std::vector<FakeElement>{}, &visited);
        };
        QCOMPARE(focus.jump(t), O::generic);
        QCOMPARE(mac.log, QStringList({"beep", "activate 7", "activate 42"}));
        QCOMPARE(mac.delayed.front().first, MacTerminalFocus::walkDelayMs);
        QVERIFY(visited.isEmpty());
        mac.runDelayed();
        QVERIFY(visited.contains("pressed demo-app"));

        // Keystrokes follow only a failed injection, after a jump in every case.
        mac.log.clear();
        t.bundleId = "io.alacritty";
        QVERIFY(!focus.sendKeystrokes("say \"hi\"\\r", t));
        QCOMPARE(mac.log, QStringList{"activate 42"});
        QCOMPARE(mac.delayed.size(), 2u);
        QCOMPARE(mac.delayed.back().first, MacTerminalFocus::keystrokeDelayMs);
        mac.scripts.clear();
        mac.runDelayed();
        QCOMPARE(mac.scripts, QStringList{keystrokeScript("say \"hi\"")});
    }

    void linuxEnvironmentAndWindowRules() {
        const TerminalEnvironment e = terminalEnvironment(parseEnviron(
            env({"TMUX=/tmp/tmux-1000/default,123,0", "TMUX_PANE=%3", "KITTY_WINDOW_ID=2",
                 "KITTY_LISTEN_ON=unix:/tmp/k", "WEZTERM_PANE=5", "WINDOWID=4194316", "TMUX=x"})));
        QCOMPARE(e.tmux, (TmuxPane{"/tmp/tmux-1000/default", "%3"}));
        QCOMPARE(e.kitty, (KittyWindow{"unix:/tmp/k", "2"}));
        QVERIFY(!e.wezterm); // a pane id without its server is never guessed
        QCOMPARE(e.windowId, 4194316u);
        QVERIFY(!namesTerminal(terminalEnvironment(parseEnviron(env({"KITTY_WINDOW_ID=1"})))));

        QCOMPARE(tmuxSendTextArgs({"/s", "%1"}, "a;é"),
                 QStringList({"-S", "/s", "send-keys", "-t", "%1", "-H", "61", "3b", "c3", "a9"}));
        QCOMPARE(kittySendRequest({"unix:/k", "2"}, "C:\\x \"q\""),
                 "\x1bP@kitty-cmd{\"cmd\":\"send-text\",\"no_response\":true,\"payload\":{"
                 "\"data\":\"text:C:\\\\x \\\"q\\\"\\r\",\"match\":\"id:2\"},"
                 "\"version\":[0,14,2]}\x1b\\");
        QVERIFY(kittyAnswers(kittyFocusRequest({"unix:/k", "2"})));
        QVERIFY(kittyAnswerOk("\x1bP@kitty-cmd{\"ok\": true}\x1b\\"));
        QVERIFY(!kittyAnswerOk("\x1bP@kitty-cmd{\"ok\":false,\"error\":\"off\"}\x1b\\"));
        QVERIFY(!kittyAnswerOk("{\"ok\": true}"));
        QCOMPARE(weztermSendArgs({"/w", "5"}, "hi").mid(1),
                 QStringList({"send-text", "--pane-id", "5", "--no-paste", "--", "hi\r"}));

        const auto view = parseTmuxView("$1\n11 500 $0 /dev/pts/1\n12 900 $2 /dev/pts/2\n"
                                        "13 100 $1 /dev/pts/3\nbad line\n");
        QVERIFY(view && view->clients.size() == 3);
        QCOMPARE(chooseTmuxClient(*view)->pid, 13); // already showing the session beats recency
        QCOMPARE(chooseTmuxClient({"$5", view->clients})->pid, 12);
        QVERIFY(!chooseTmuxClient({"$5", {}}));
        QVERIFY(!parseTmuxView("can't find pane: %9\n"));

        // Windows of the nearest process that owns any; certain only when nothing else fits.
        const std::vector<WindowInfo> ws = {{1, 50, "demo-app — vim"},
                                            {2, 50, "other"},
                                            {3, 60, "demo-app"},
                                            {4, 60, "demo-app 2"},
                                            {5, 70, "x"}};
        using C = std::optional<WindowChoice>;
        QCOMPARE(chooseWindow(ws, {10, 70, 50}, "demo-app", {}), (C{{5, true}}));
        QCOMPARE(chooseWindow(ws, {10, 50}, "demo-app", {}), (C{{1, true}}));
        QCOMPARE(chooseWindow(ws, {50}, "nothing", {}), (C{{1, false}}));
        QCOMPARE(chooseWindow(ws, {60}, "demo-app", {}), (C{{3, false}}));
        QCOMPARE(chooseWindow(ws, {60}, "demo-app", 4), (C{{4, true}}));
        QCOMPARE(chooseWindow(ws, {99}, "demo-app", 4), C{});
    }

    void linuxJumpPaths_data() {
        QTest::addColumn<QByteArray>("claudeEnv");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<int>("path");
        QTest::addColumn<QString>("firstCommand");
        using P = LinuxTerminalFocus::Path;
        const QByteArray tmux = env({"TMUX=/tmp/t/default,1,0", "TMUX_PANE=%3"});
        const QByteArray kitty = env({"KITTY_WINDOW_ID=2", "KITTY_LISTEN_ON=unix:/k"});
        const QByteArray wez = env({"WEZTERM_PANE=5", "WEZTERM_UNIX_SOCKET=/w"});
        QTest::newRow("tmux") << tmux + kitty << QStringList{"tmux", "kitty"} << int(P::tmux)
                              << "tmux -S /tmp/t/default select-window -t %3 ;";
        QTest::newRow("tmux missing, kitty")
            << tmux + kitty << QStringList{"kitty"} << int(P::kitty) << "tmux -S";
        QTest::newRow("kitty remote control off")
            << kitty << QStringList{"kitty-fails"} << int(P::x11) << "kitty unix:/k focus-window";
        QTest::newRow("wezterm") << wez << QStringList{"wezterm"} << int(P::wezterm)
                                 << "wezterm cli activate-pane --pane-id 5 [WEZTERM_UNIX_SOCKET]";
        QTest::newRow("plain terminal")
            << env({"TERM=xterm"}) << QStringList{} << int(P::x11) << "";
    }

    void linuxJumpPaths() {
        QFETCH(QByteArray, claudeEnv);
        QFETCH(QStringList, installed);
        FakeLinux os;
        // claude 100 < shell 90 < xterm 80 (window 8); tmux client 200 < shell 190 < xterm 180 (9).
        os.processes = {{100, {90, claudeEnv}}, {90, {80, env({"TERM=xterm"})}},
                        {80, {1, {}}},          {200, {190, env({"WINDOWID=10"})}},
                        {190, {180, {}}},       {180, {1, {}}}};
        os.desktop = {{8, 80, "u@host: ~/work/demo-app"}, {9, 180, "tmux"}};
        for (const QString& p : installed)
            os.installed[p] = "$1\n200 5 $0 /dev/pts/7\n";
        if (installed.contains("kitty"))
            os.kittyAnswer = "\x1bP@kitty-cmd{\"ok\":true}\x1b\\";
        if (installed.contains("kitty-fails"))
            os.kittyAnswer =
                "\x1bP@kitty-cmd{\"ok\":false,\"error\":\"Remote control is off\"}\x1b\\";
        QFETCH(int, path);
        QFETCH(QString, firstCommand);
        const auto jump = LinuxTerminalFocus(os).jump(target());
        QCOMPARE(int(jump.path), path);
        QCOMPARE(os.commands.value(0).left(firstCommand.size()), firstCommand);
        if (jump.path == LinuxTerminalFocus::Path::tmux) {
            // The client showed another session: switched, and its own terminal raised.
            QCOMPARE(os.commands[1], "tmux -S /tmp/t/default switch-client -c /dev/pts/7 -t %3");
            QCOMPARE(os.log, QStringList{"activate 9"});
        } else {
            QCOMPARE(os.log, QStringList{"activate 8"});
        }
    }

    void linuxTypingOnlyIntoTheKnownActiveWindow() {
        using D = LinuxTerminalFocus::Delivery;
        FakeLinux os;
        os.processes = {{100, {90, env({"TERM=xterm"})}}, {90, {80, {}}}, {80, {1, {}}}};
        os.desktop = {{8, 80, "demo-app"}};
        LinuxTerminalFocus focus(os);
        QCOMPARE(focus.sendKeystrokes("2\\r", target()), D::xtest);
        QCOMPARE(os.log, QStringList({"activate 8", "type 8 2"}));

        os.log.clear();
        os.activationWorks = false;
        QCOMPARE(focus.sendKeystrokes("2\\r", target()), D::nothing);
        os.activationWorks = true;
        os.desktop = {{8, 80, "one"}, {9, 80, "two"}}; // same terminal, neither names the folder
        QCOMPARE(focus.sendKeystrokes("2\\r", target()), D::nothing);
        os.desktop.clear();
        QCOMPARE(focus.sendKeystrokes("2\\r", target()), D::nothing);
        QCOMPARE(os.log, QStringList({"activate 8", "activate 8", "beep"}));

        // A wrapper that cleared the environment: its parent says tmux; the feed is send-keys.
        os.processes = {
            {100, {95, {}}}, {95, {90, env({"TMUX=/t,1,0", "TMUX_PANE=%1"})}}, {90, {1, {}}}};
        os.installed["tmux"] = "$0\n";
        QCOMPARE(focus.sendKeystrokes("ok\\r", target()), D::tmux);
        QCOMPARE(os.commands.mid(1), QStringList({"tmux -S /t send-keys -t %1 -H 6f 6b",
                                                  "tmux -S /t send-keys -t %1 Enter"}));
    }

    void injectionSocketGetsOneLine() {
        QVERIFY(InjectionSocket::path("../x").isEmpty());
        const QString id = "inject-" + QUuid::createUuid().toString(QUuid::WithoutBraces);
        QVERIFY(!InjectionSocket::injectViaDaemon(id, "no socket"));
        const QByteArray path = InjectionSocket::path(id).toUtf8();
        const int server = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        QVERIFY(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        QVERIFY(listen(server, 1) == 0);

        FakeLinux os; // no process, no window: the jump beeps, the line still went through
        QCOMPARE(LinuxTerminalFocus(os).sendKeystrokes("1\\r", {id, "/", {}, {}, {}, {}}),
                 LinuxTerminalFocus::Delivery::injectionSocket);
        QCOMPARE(os.log, QStringList{"beep"});
        const int peer = accept(server, nullptr, nullptr);
        char buffer[16] = {};
        QCOMPARE(read(peer, buffer, sizeof buffer), 2);
        QCOMPARE(QByteArray(buffer), "1\n");
        close(peer);
        close(server);
        unlink(path.constData());
        QVERIFY(!InjectionSocket::injectViaDaemon(id, "gone"));
    }
};

QTEST_GUILESS_MAIN(TestTerminalFocus)
#include "tst_terminalfocus.moc"
