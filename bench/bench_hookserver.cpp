// SPDX-License-Identifier: MIT
// Hook exchanges per second: clients that each connect, send one "stop" event and read the
// answer, against the real HookServer and SessionStore. Reference, same run and clients: an echo
// server that answers every line inline in its accept loop, the floor of one exchange.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <atomic>
#include <optional>
#include <thread>

#include "BenchSupport.h"
#include "HookLink/HookServer.h"
#include "Sessions/SessionStore.h"

using namespace std::chrono_literals;

namespace {

constexpr int exchangesPerClient = 10;
const std::string answerLine = "{\"decision\":\"passthrough\"}\n";

// Runs `clients` client threads that each do `exchangesPerClient` exchanges, keeping the Qt
// event loop of this (main) thread turning for the store meanwhile. Returns the failures.
int runClients(const std::string& path, int clients) {
    std::atomic<int> running{clients};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    threads.reserve(size_t(clients));
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            HookEvent e;
            e.kind = HookEvent::Kind::stop;
            e.sessionId = "session-" + std::to_string(c);
            e.cwd = "/work/project-" + std::to_string(c);
            e.timestamp = nowSinceReferenceDate();
            const std::string request = e.encode() + '\n';
            for (int i = 0; i < exchangesPerClient; ++i) {
                if (Bench::exchange(path, request) != answerLine)
                    failures.fetch_add(1);
            }
            if (running.fetch_sub(1) == 1) // wake the main loop for the last time
                QMetaObject::invokeMethod(
                    qApp, [] {}, Qt::QueuedConnection);
        });
    }
    while (running.load() > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    for (auto& t : threads)
        t.join();
    return failures.load();
}

// A minimal line server: read to the line feed, answer, close.
class EchoServer {
public:
    explicit EchoServer(std::string path) : m_path(std::move(path)) {
        unlink(m_path.c_str());
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const sockaddr_un address = Bench::unixAddress(m_path);
        bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        listen(m_fd, 16);
        m_loop = std::thread([this] { acceptLoop(); });
    }
    ~EchoServer() {
        shutdown(m_fd, SHUT_RDWR); // wakes accept() on Linux
        m_loop.join();
        close(m_fd);
        unlink(m_path.c_str());
    }

private:
    void acceptLoop() {
        char buffer[4096];
        for (int fd; (fd = accept(m_fd, nullptr, nullptr)) >= 0; close(fd)) {
            for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;) {
                if (std::memchr(buffer, '\n', size_t(n)))
                    break;
            }
            send(fd, answerLine.data(), answerLine.size(), MSG_NOSIGNAL);
        }
    }
    std::string m_path;
    int m_fd = -1;
    std::thread m_loop;
};

void BM_StopExchanges(benchmark::State& state, bool reference) {
    QTemporaryDir dir;
    const std::string path = dir.filePath("hook.sock").toStdString();
    SessionStore::Environment env;
    env.settingsPath = dir.filePath("settings.json");
    env.playSound = [](const QString&) {}; // a chime per stop would measure the sound player
    env.runningClaudeCwds = [] { return std::set<std::string>(); };
    SessionStore store(env);
    HookServer server(&store, path, 25s);
    std::optional<EchoServer> echo;
    if (reference)
        echo.emplace(path);
    else
        server.start();
    int failures = 0;
    for (auto _ : state)
        failures += runClients(path, int(state.range(0)));
    state.SetItemsProcessed(state.iterations() * state.range(0) * exchangesPerClient);
    state.counters["failures"] = failures;
}

} // namespace

BENCHMARK_CAPTURE(BM_StopExchanges, Reference_Echo, true)
    ->Arg(1)
    ->Arg(200)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StopExchanges, HookServer, false)
    ->Arg(1)
    ->Arg(200)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// The server logs five lines per exchange; the figures are for the work, not the terminal.
static const auto quiet =
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
HOLLOWMERE_BENCHMARK_MAIN(QCoreApplication)
