// SPDX-License-Identifier: MIT
// Jump and typing against a real tmux server on a private socket, with a real client attached
// (through `script`, which gives it a terminal), and no X server.
#include <QtTest>

#include "ClaudeIntegration/TerminalFocusLinux.h"
#include "ClaudeIntegration/TerminalFocusService.h"
#include "Platform/TerminalControl.h"
#include "Sessions/Session.h"

class TestTerminalFocusTmux : public QObject {
    Q_OBJECT

private:
    QString tmux(const QStringList& args) {
        QProcess p;
        p.start("tmux", QStringList{"-S", m_socket} + args);
        p.waitForFinished(30000);
        return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
    }

    QTemporaryDir m_dir;
    QString m_socket;
    QProcess m_client;

private slots:
    void initTestCase() {
        QVERIFY2(!QStandardPaths::findExecutable("tmux").isEmpty(),
                 "tmux is missing: run scripts/install-deps.sh");
        qunsetenv("DISPLAY"); // the panes are what counts here, not windows
        m_socket = m_dir.filePath("tmux.sock");
        // "main": window 0 with pane A, window 1 with pane B (the session); "elsewhere": the
        // client's.
        tmux({"new-session", "-d", "-s", "main", "-x", "80", "-y", "20", "cat"});
        tmux({"new-window", "-t", "main", "cat"});
        tmux({"select-window", "-t", "main:0"});
        tmux({"new-session", "-d", "-s", "elsewhere", "-x", "80", "-y", "20", "cat"});
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("TMUX");
        env.insert("TERM", "xterm");
        m_client.setProcessEnvironment(env);
        m_client.start("script",
                       {"-qfc", "tmux -S " + m_socket + " attach -t elsewhere", "/dev/null"});
        QTRY_VERIFY_WITH_TIMEOUT(tmux({"list-clients", "-F", "#{session_name}"}) == "elsewhere",
                                 30000);
    }

    void cleanupTestCase() {
        tmux({"kill-server"});
        m_client.waitForFinished(10000);
    }

    void jumpSwitchesTheClientAndTypingReachesOnlyThatPane() {
        const QString paneA = tmux({"display-message", "-p", "-t", "main:0", "#{pane_id}"});
        const QString paneB = tmux({"display-message", "-p", "-t", "main:1", "#{pane_id}"});
        Session session;
        session.sessionId = "tmux-" + QUuid::createUuid().toString(QUuid::WithoutBraces);
        session.cwd = m_dir.path();
        session.claudePid = tmux({"display-message", "-p", "-t", paneB, "#{pane_pid}"}).toInt();
        QVERIFY(*session.claudePid > 0);

        const auto jump =
            LinuxTerminalFocus(LinuxTerminalControl::system()).jump(FocusTarget::from(session));
        QCOMPARE(jump.path, LinuxTerminalFocus::Path::tmux);
        QCOMPARE(tmux({"list-clients", "-F", "#{session_name}:#{window_index}.#{pane_id}"}),
                 "main:1." + paneB);

        const QString before = tmux({"capture-pane", "-p", "-t", paneA});
        TerminalFocusService::sendKeystrokes("hello; \"world\" \\ done\\r", session);
        QVERIFY(TerminalFocusService::waitForIdle(30000));
        // The pane echoes the line and cat prints it again: one line typed, one Return.
        QTRY_COMPARE_WITH_TIMEOUT(tmux({"capture-pane", "-p", "-t", paneB}).count("hello"), 2,
                                  10000);
        QVERIFY(tmux({"capture-pane", "-p", "-t", paneB}).contains("hello; \"world\" \\ done\n"));
        QCOMPARE(tmux({"capture-pane", "-p", "-t", paneA}), before);
    }
};

QTEST_GUILESS_MAIN(TestTerminalFocusTmux)
#include "tst_terminalfocus_tmux.moc"
