// SPDX-License-Identifier: MIT
// Transcript reading and scanning. Every figure has a reference measured in the same run: plain
// reads of the same file, the cost of the write itself for an append, a listing for a pass.
#include <benchmark/benchmark.h>

#include <QDir>
#include <QTemporaryDir>

#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "ClaudeIntegration/SessionScanner.h"
#include "ClaudeIntegration/TranscriptReader.h"
#include "Sessions/SessionStore.h"
#include "TranscriptFixture.h"

#include <dirent.h>
#include <sys/stat.h>

namespace {

constexpr std::size_t transcriptBytes = 100u << 20;

// The realistic transcript, and one of messages only: every line must then be decoded, the
// reader's worst realistic case.
struct Fixture {
    QTemporaryDir dir;
    std::string paths[2] = {dir.filePath("big.jsonl").toStdString(),
                            dir.filePath("messages.jsonl").toStdString()};
    std::size_t sizes[2] = {
        TranscriptFixture::write(paths[0], transcriptBytes, "/work/project"),
        TranscriptFixture::write(paths[1], transcriptBytes, "/work/project", 2, true)};
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// Reads the whole file in the reader's block size.
std::size_t readAll(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    constexpr std::size_t block = 4u << 20;
    std::unique_ptr<char[]> buffer(new char[block]);
    std::size_t total = 0;
    for (ssize_t n; (n = ::read(fd, buffer.get(), block)) > 0;)
        total += std::size_t(n);
    ::close(fd);
    return total;
}

void BM_Reference_RawRead100MB(benchmark::State& state, bool messagesOnly) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(readAll(f.paths[messagesOnly]));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.sizes[messagesOnly]));
}

void BM_TranscriptFirstRead100MB(benchmark::State& state, bool messagesOnly) {
    const Fixture& f = fixture();
    for (auto _ : state) {
        TranscriptReader reader(f.paths[messagesOnly]);
        reader.update();
        benchmark::DoNotOptimize(reader.facts());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.sizes[messagesOnly]));
}

// 1 KB appended to a 100 MB transcript, then the reader's update; the reference instead opens
// the file and reads back those 1 KB.
void BM_Append1KB(benchmark::State& state, bool reference) {
    const std::string path = fixture().dir.filePath("append.jsonl").toStdString();
    TranscriptFixture::write(path, transcriptBytes, "/work/project");
    TranscriptReader reader(path);
    if (!reference)
        reader.update();
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    off_t offset = ::lseek(fd, 0, SEEK_END);
    char back[1024];
    for (int n = 0; auto _ : state) {
        std::string line =
            R"({"type":"assistant","cwd":"/work/project","message":{"model":"m","content":[{"type":"text","text":")" +
            std::to_string(n++);
        line.append(1000 - line.size() - 30, 'x');
        line += "\"}],\"stop_reason\":\"end_turn\"}}\n";
        benchmark::DoNotOptimize(::write(fd, line.data(), line.size()));
        if (reference) {
            const int rfd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::pread(rfd, back, line.size(), offset));
            ::close(rfd);
        } else {
            reader.update();
            benchmark::DoNotOptimize(reader.facts());
        }
        offset += off_t(line.size());
    }
    ::close(fd);
    ::unlink(path.c_str());
}

// 50 project folders, each with its live transcript (about 200 KB) and two older ones, and a
// `claude` process in each project.
struct Projects {
    QTemporaryDir home;
    QString root;
    std::vector<RunningClaude> running;
    Projects() {
        root = home.filePath("projects");
        for (int i = 0; i < 50; ++i) {
            const QString cwd = QStringLiteral("/work/project-%1").arg(i);
            const QString folder = root + "/" + QString(cwd).replace('/', '-');
            QDir().mkpath(folder);
            for (int old = 0; old < 2; ++old) {
                const std::string path =
                    (folder + QStringLiteral("/old-%1.jsonl").arg(old)).toStdString();
                TranscriptFixture::write(path, 20000, cwd.toStdString(), unsigned(old));
                const timespec past[2] = {{time(nullptr) - 3600 * (old + 1), 0},
                                          {time(nullptr) - 3600 * (old + 1), 0}};
                ::utimensat(AT_FDCWD, path.c_str(), past, 0);
            }
            TranscriptFixture::write(
                (folder + QStringLiteral("/live-%1.jsonl").arg(i)).toStdString(), 200000,
                cwd.toStdString(), unsigned(i));
            running.push_back({int32_t(1000 + i), cwd.toStdString(), std::nullopt, std::nullopt});
        }
    }
};

Projects& projects() {
    static Projects p;
    return p;
}

// Scanner lines go to standard error on every pass; they are part of the cost, not the output.
struct QuietStderr {
    int saved = ::dup(2);
    QuietStderr() {
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 2);
        ::close(null);
    }
    ~QuietStderr() {
        ::dup2(saved, 2);
        ::close(saved);
    }
};

// Reference: what any pass must do at least, list the folders and stat every transcript.
void BM_Reference_List50Projects(benchmark::State& state) {
    auto& p = projects();
    const std::string root = p.root.toStdString();
    for (auto _ : state) {
        int files = 0;
        DIR* top = ::opendir(root.c_str());
        while (const dirent* e = ::readdir(top)) {
            if (e->d_name[0] == '.')
                continue;
            const std::string folder = root + "/" + e->d_name;
            DIR* dir = ::opendir(folder.c_str());
            while (const dirent* f = ::readdir(dir)) {
                struct stat st {};
                files += ::fstatat(::dirfd(dir), f->d_name, &st, 0) == 0;
            }
            ::closedir(dir);
        }
        ::closedir(top);
        benchmark::DoNotOptimize(files);
    }
}

// A pass with nothing new, as after a file event elsewhere or on the fallback timer.
void BM_Scan50Projects(benchmark::State& state) {
    auto& p = projects();
    QuietStderr quiet;
    SessionStore::Environment env;
    env.settingsPath = p.home.filePath("settings.json");
    env.playSound = [](const QString&) {};
    env.runningClaudeCwds = [&p] {
        std::set<std::string> cwds;
        for (const auto& r : p.running)
            cwds.insert(r.cwd);
        return cwds;
    };
    SessionStore store(env);
    SessionScanner scanner(&store, {p.root, [&p] { return p.running; }, {}});
    scanner.scan();
    for (auto _ : state)
        scanner.scan();
}

} // namespace

BENCHMARK_CAPTURE(BM_Reference_RawRead100MB, Realistic, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TranscriptFirstRead100MB, Realistic, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Reference_RawRead100MB, MessagesOnly, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_TranscriptFirstRead100MB, MessagesOnly, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Append1KB, Reference_ReadBack, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Append1KB, TranscriptUpdate, false)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Reference_List50Projects)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Scan50Projects)->Unit(benchmark::kMicrosecond);

// `bench_sessionscanner --write-transcript PATH BYTES CWD` writes a fixture transcript for
// scripts that measure the whole app (bench/scanner_cpu.py); otherwise the benchmarks run.
int main(int argc, char** argv) {
    if (argc == 5 && std::string_view(argv[1]) == "--write-transcript")
        return TranscriptFixture::write(argv[2], std::stoull(argv[3]), argv[4]) ? 0 : 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
