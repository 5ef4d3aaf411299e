// SPDX-License-Identifier: MIT
// Hook exchanges per second: clients that each connect, send one "stop" event and read the
// answer, against the real HookServer and SessionStore, with references measured in the same
// run: the same clients against a trivial echo server on a Unix socket, which answers every line
// with the same passthrough line, once inline in its accept loop (the floor of one exchange) and
// once with a thread per connection (the same threading as the hook server, without hand-off).
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
    EchoServer(std::string path, bool threadPerConnection)
        : m_path(std::move(path)), m_threaded(threadPerConnection) {
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
    static void serve(int fd) {
        char buffer[4096];
        for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;) {
            if (std::memchr(buffer, '\n', size_t(n)))
                break;
        }
        send(fd, answerLine.data(), answerLine.size(), MSG_NOSIGNAL);
        close(fd);
    }
    void acceptLoop() {
        for (;;) {
            const int fd = accept(m_fd, nullptr, nullptr);
            if (fd < 0)
                return;
            if (m_threaded)
                std::thread(serve, fd).detach();
            else
                serve(fd);
        }
    }
    std::string m_path;
    bool m_threaded;
    int m_fd = -1;
    std::thread m_loop;
};

// The hook server with its store, or a reference: the echo server, inline or with a thread per
// connection (the hook server's threading without the hand-off to the store).
enum class Server { hook, echoInline, echoThreadPerConnection };

void BM_StopExchanges(benchmark::State& state, Server kind) {
    QTemporaryDir dir;
    const std::string path = dir.filePath("hook.sock").toStdString();
    SessionStore::Environment env;
    env.settingsPath = dir.filePath("settings.json");
    env.playSound = [](const QString&) {}; // a chime per stop would measure the sound player
    env.runningClaudeCwds = [] { return std::set<std::string>(); };
    SessionStore store(env);
    HookServer server(&store, path, 25s);
    std::optional<EchoServer> echo;
    if (kind == Server::hook)
        server.start();
    else
        echo.emplace(path, kind == Server::echoThreadPerConnection);
    int failures = 0;
    for (auto _ : state)
        failures += runClients(path, int(state.range(0)));
    state.SetItemsProcessed(state.iterations() * state.range(0) * exchangesPerClient);
    state.counters["failures"] = failures;
}

} // namespace

const bool registered = [] {
    for (const auto& [name, kind] :
         {std::pair{"Reference_EchoInline", Server::echoInline},
          {"Reference_EchoThreadPerConnection", Server::echoThreadPerConnection},
          {"HookServer_StopExchanges", Server::hook}})
        benchmark::RegisterBenchmark(name, BM_StopExchanges, kind)
            ->Arg(1)
            ->Arg(200)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    return true;
}();

// The server logs five lines per exchange; the figures are for the work, not the terminal.
static const auto quiet =
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
HOLLOWMERE_BENCHMARK_MAIN(QCoreApplication)
