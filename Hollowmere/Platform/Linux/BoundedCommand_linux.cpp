// SPDX-License-Identifier: MIT
// posix_spawn rather than QProcess: it needs no event loop on the calling thread and does not copy
// the app's memory map for each short-lived helper.
#include "Platform/Linux/BoundedCommand_linux.h"

#include <QFile>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace BoundedCommand {

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}

// This process's environment with `extra` set on top.
std::vector<QByteArray> environment(const QHash<QString, QString>& extra) {
    std::vector<QByteArray> env;
    for (char** e = environ; *e; ++e) {
        const QByteArray entry(*e);
        const QString key = QString::fromLocal8Bit(entry.left(entry.indexOf('=')));
        if (!extra.contains(key))
            env.push_back(entry);
    }
    for (auto it = extra.cbegin(); it != extra.cend(); ++it)
        env.push_back(QFile::encodeName(it.key()) + '=' + QFile::encodeName(it.value()));
    return env;
}

// Waits for the child until the deadline; its exit status, or nothing if it is still running.
std::optional<int> reap(pid_t pid, Clock::time_point deadline) {
    for (;;) {
        int status = 0;
        const pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid)
            return status;
        if (done < 0 && errno != EINTR)
            return std::nullopt;
        if (msLeft(deadline) == 0)
            return std::nullopt;
        ::usleep(2000);
    }
}

} // namespace

std::optional<Result> run(const QString& program, const QStringList& args,
                          const QHash<QString, QString>& extraEnv, int limitMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(limitMs);
    std::vector<QByteArray> argBytes{QFile::encodeName(program)};
    for (const QString& a : args)
        argBytes.push_back(a.toUtf8());
    std::vector<char*> argv;
    for (QByteArray& a : argBytes)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<QByteArray> envBytes = environment(extraEnv);
    std::vector<char*> envp;
    for (QByteArray& e : envBytes)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        return std::nullopt;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // Its own process group, so an overrun takes any children with it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t pid = 0;
    const int spawned =
        ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(out[1]);
    if (spawned != 0) {
        ::close(out[0]);
        return std::nullopt;
    }

    Result result;
    char buffer[4096];
    for (;;) {
        pollfd p{out[0], POLLIN, 0};
        const int ready = ::poll(&p, 1, msLeft(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break; // time is up
        const ssize_t n = ::read(out[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break; // end of output
        if (result.output.size() < outputLimit)
            result.output.append(buffer,
                                 std::min<qsizetype>(n, outputLimit - result.output.size()));
    }
    ::close(out[0]);
    const auto status = reap(pid, deadline);
    if (!status) {
        ::kill(-pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        return std::nullopt;
    }
    if (!WIFEXITED(*status))
        return std::nullopt;
    result.exitCode = WEXITSTATUS(*status);
    return result;
}

} // namespace BoundedCommand
