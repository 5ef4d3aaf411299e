// SPDX-License-Identifier: MIT
// Transcript reading and scanning. Every figure has a reference measured in the same run:
// plain reads (and memchr for line feeds) of the same file, and the cost of the write itself
// for an append.
#include <benchmark/benchmark.h>

#include <QDir>
#include <QTemporaryDir>

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "ClaudeIntegration/TranscriptReader.h"
#include "TranscriptFixture.h"

namespace {

constexpr std::size_t transcriptBytes = 100u << 20;

struct Fixture {
    QTemporaryDir dir;
    std::string path;
    std::size_t size = 0;
    Fixture() {
        path = dir.filePath("big.jsonl").toStdString();
        size = TranscriptFixture::write(path, transcriptBytes, "/work/project");
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// Reads the whole file in the reader's block size; `perBlock` sees each block.
template <typename F> std::size_t readAll(const std::string& path, F perBlock) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    constexpr std::size_t block = 4u << 20;
    std::unique_ptr<char[]> buffer(new char[block]);
    std::size_t total = 0;
    for (ssize_t n; (n = ::read(fd, buffer.get(), block)) > 0; total += std::size_t(n))
        perBlock(buffer.get(), std::size_t(n));
    ::close(fd);
    return total;
}

void BM_Reference_RawRead100MB(benchmark::State& state) {
    auto& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(readAll(f.path, [](const char*, std::size_t) {}));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.size));
}

void BM_Reference_ReadAndMemchr100MB(benchmark::State& state) {
    auto& f = fixture();
    for (auto _ : state) {
        std::size_t lines = 0;
        readAll(f.path, [&](const char* p, std::size_t n) {
            for (const char* end = p + n;
                 (p = static_cast<const char*>(std::memchr(p, '\n', std::size_t(end - p)))); ++p)
                ++lines;
        });
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.size));
}

void BM_TranscriptFirstRead100MB(benchmark::State& state) {
    auto& f = fixture();
    for (auto _ : state) {
        TranscriptReader reader(f.path);
        reader.update();
        benchmark::DoNotOptimize(reader.facts());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.size));
}

std::string appendLine(int n) {
    std::string line =
        R"({"type":"assistant","cwd":"/work/project","message":{"model":"m","content":[{"type":"text","text":")";
    line += std::to_string(n);
    line.append(1000 - line.size() - 30, 'x');
    line += R"("}],"stop_reason":"end_turn"}})";
    line += '\n';
    return line;
}

// The append itself plus the reader's update, on top of the 100 MB transcript.
void BM_TranscriptAppend1KB(benchmark::State& state) {
    auto& f = fixture();
    const std::string path = f.dir.filePath("append.jsonl").toStdString();
    TranscriptFixture::write(path, transcriptBytes, "/work/project");
    TranscriptReader reader(path);
    reader.update();
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    int n = 0;
    for (auto _ : state) {
        const std::string line = appendLine(n++);
        benchmark::DoNotOptimize(::write(fd, line.data(), line.size()));
        reader.update();
        benchmark::DoNotOptimize(reader.facts());
    }
    ::close(fd);
    ::unlink(path.c_str());
}

// Reference: the same append, then opening the file and reading back those 1 KB.
void BM_Reference_Append1KBAndReadBack(benchmark::State& state) {
    auto& f = fixture();
    const std::string path = f.dir.filePath("append-ref.jsonl").toStdString();
    TranscriptFixture::write(path, transcriptBytes, "/work/project");
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    off_t offset = ::lseek(fd, 0, SEEK_END);
    char back[1024];
    int n = 0;
    for (auto _ : state) {
        const std::string line = appendLine(n++);
        benchmark::DoNotOptimize(::write(fd, line.data(), line.size()));
        const int rfd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::pread(rfd, back, line.size(), offset));
        ::close(rfd);
        offset += off_t(line.size());
    }
    ::close(fd);
    ::unlink(path.c_str());
}

} // namespace

BENCHMARK(BM_Reference_RawRead100MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Reference_ReadAndMemchr100MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TranscriptFirstRead100MB)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Reference_Append1KBAndReadBack)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TranscriptAppend1KB)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
