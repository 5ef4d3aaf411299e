// SPDX-License-Identifier: MIT
// Whatever a client sends the app, or the app sends the hook: decoding never crashes, and what
// decodes encodes to a line that decodes to the same record.
#include "Protocol.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

template <typename Record> void roundTrip(std::string_view text) {
    const auto first = Record::decode(text);
    if (!first)
        return;
    const std::string line = first->encode();
    const auto second = Record::decode(line);
    if (line.find('\n') != std::string::npos || !second || !(*second == *first)) {
        std::fprintf(stderr, "did not survive a round trip:\n%s\n", line.c_str());
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    roundTrip<HookEvent>(text);
    roundTrip<HookDecision>(text);
    return 0;
}
