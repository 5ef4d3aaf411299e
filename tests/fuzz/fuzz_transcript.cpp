// SPDX-License-Identifier: MIT
// Whatever bytes a transcript holds: reading never crashes, and reading it in pieces as they are
// appended ends exactly where a read of the whole file ends. The first byte picks the number of
// pieces; the rest is the transcript.
#include "ClaudeIntegration/TranscriptReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

const std::string& scratch() {
    static const std::string dir = [] {
        char name[] = "/tmp/fuzz-transcript-XXXXXX";
        return std::string(::mkdtemp(name) ? name : "/tmp");
    }();
    return dir;
}

void write(const std::string& path, const uint8_t* data, size_t size, const char* mode) {
    FILE* f = std::fopen(path.c_str(), mode);
    if (!f)
        std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t pieces = data[0] % 6 + 1;
    ++data;
    --size;
    const std::string whole = scratch() + "/whole.jsonl";
    const std::string growing = scratch() + "/growing.jsonl";
    write(whole, data, size, "wb");
    const TranscriptFacts expected = TranscriptReader::parseFile(whole);

    write(growing, data, 0, "wb");
    TranscriptReader reader(growing);
    size_t done = 0;
    for (size_t k = 1; k <= pieces; ++k) {
        const size_t cut = size * k / pieces;
        write(growing, data + done, cut - done, "ab");
        done = cut;
        reader.update();
    }
    if (!(reader.facts() == expected)) {
        std::fprintf(stderr, "reading in %zu pieces differs from reading the whole file\n", pieces);
        std::abort();
    }
    return 0;
}
