// SPDX-License-Identifier: MIT
// Time from jump() to the session's window being active, on a real X server with a window manager
// (run it on a private desktop: tests/support/desktop.py -- bench_focus). Two xterms, each with a
// child that stands in for claude; each iteration activates the other one. Reference, same run and
// windows: the bare _NET_ACTIVE_WINDOW request and the wait for the window manager's answer, which
// every jump to a plain X terminal includes.
#include "ClaudeIntegration/TerminalFocusLinux.h"
#include "Platform/Linux/X11Desktop_linux.h"
#include "Platform/TerminalControl.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace {

struct Terminal {
    pid_t xterm = 0;
    int32_t child = 0;
    uint64_t window = 0;
};

struct Desktop {
    QTemporaryDir dir;
    Terminal terms[2];

    Desktop() {
        for (int i = 0; i < 2; ++i) {
            const QString pidFile = dir.filePath(QString::number(i));
            const QByteArray script = "echo $$ > '" + pidFile.toUtf8() + "'; exec sleep 600";
            const char* argv[] = {"xterm", "-e", "sh", "-c", script.constData(), nullptr};
            posix_spawnp(&terms[i].xterm, "xterm", nullptr, nullptr, const_cast<char**>(argv),
                         environ);
            for (int tries = 0; tries < 600 && (!terms[i].child || !terms[i].window); ++tries) {
                QThread::msleep(50);
                QFile f(pidFile);
                if (f.open(QIODevice::ReadOnly))
                    terms[i].child = f.readAll().trimmed().toInt();
                for (const auto& w : X11Desktop::windows())
                    if (w.pid == terms[i].xterm)
                        terms[i].window = w.id;
            }
        }
    }
    ~Desktop() {
        for (const Terminal& t : terms) {
            kill(t.xterm, SIGTERM);
            waitpid(t.xterm, nullptr, 0);
        }
    }
    bool ready() const { return terms[0].window && terms[1].window; }
};

Desktop& desktop() {
    static Desktop d;
    return d;
}

void BM_Activate(benchmark::State& state, bool reference) {
    if (!desktop().ready())
        return state.SkipWithError("no X server, window manager or xterm");
    LinuxTerminalFocus focus(LinuxTerminalControl::system());
    FocusTarget targets[2];
    for (int t = 0; t < 2; ++t)
        targets[t] = {"bench", QDir::homePath(), {}, {}, desktop().terms[t].child, {}};
    int i = 0;
    for (auto _ : state) {
        const int t = ++i % 2;
        if (reference ? !X11Desktop::activate(desktop().terms[t].window)
                      : !focus.jump(targets[t]).windowActive)
            return state.SkipWithError("the window manager did not activate the window");
    }
}
BENCHMARK_CAPTURE(BM_Activate, Reference_NetActiveWindow, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2.0);
BENCHMARK_CAPTURE(BM_Activate, Jump, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
