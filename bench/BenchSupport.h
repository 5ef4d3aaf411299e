// SPDX-License-Identifier: MIT
// What the benchmarks share: resident memory, an event loop that runs as the app's does,
// and the hook's side of one socket exchange.
#pragma once

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace Bench {

using Clock = std::chrono::steady_clock;

inline double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

inline double residentMiB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / (1 << 20) : 0;
}

// Runs an event loop until `done` holds or `timeoutMs` passed; false on time-out. It exec()s, as
// the app's loop does: what views let go of with deleteLater() is deleted only inside such a
// loop, never by processEvents() from outside one (which would read as growth).
template <typename Predicate> bool spin(Predicate done, int timeoutMs = 30000) {
    if (done())
        return true;
    QElapsedTimer t;
    t.start();
    QEventLoop loop;
    QTimer poll;
    bool met = false;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        met = done();
        if (met || t.elapsed() > timeoutMs)
            loop.quit();
    });
    poll.start(2);
    loop.exec();
    return met;
}

// Runs the event loop for a while, waking for nothing else.
inline void settle(int msToWait) {
    QEventLoop loop;
    QTimer::singleShot(msToWait, &loop, &QEventLoop::quit);
    loop.exec();
}

// This process's CPU time over `msToWait` of its event loop, as a share of one core in percent.
inline double cpuShareOver(int msToWait) {
    auto cpu = [] {
        timespec t{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
    };
    const double start = cpu();
    settle(msToWait);
    return (cpu() - start) * 1000 / msToWait * 100;
}

inline sockaddr_un unixAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

// What hollowmere-hook does: connect, write one line, read until the server closes.
inline std::string exchange(const std::string& path, const std::string& line) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = unixAddress(path);
    std::string answer;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(fd, line.data(), line.size(), MSG_NOSIGNAL) == ssize_t(line.size())) {
        char buffer[512];
        for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;)
            answer.append(buffer, size_t(n));
    }
    close(fd);
    return answer;
}

} // namespace Bench

// Google Benchmark's main, with the Qt application object the code under test needs.
#define HOLLOWMERE_BENCHMARK_MAIN(Application)                                                     \
    int main(int argc, char** argv) {                                                              \
        Application app(argc, argv);                                                               \
        benchmark::Initialize(&argc, argv);                                                        \
        benchmark::RunSpecifiedBenchmarks();                                                       \
        benchmark::Shutdown();                                                                     \
        return 0;                                                                                  \
    }
