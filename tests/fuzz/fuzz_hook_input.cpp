// SPDX-License-Identifier: MIT
// Whatever Claude Code (or anyone) writes to the hook's standard input: reading it never
// crashes; an event the hook builds is one line the app decodes back to the same event; and the
// answer for Claude Code, when there is one, is one JSON object on one line.
#include "HookInput.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "%s:\n%s\n", what, text.c_str());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto hookInput = readHookInput(input, 700000000.5);
    if (!hookInput)
        return 0;
    const std::string line = hookInput->event.encode();
    if (line.find('\n') != std::string::npos)
        fail("a wire record with a line feed", line);
    const auto back = HookEvent::decode(line);
    if (!back || back->encode() != line)
        fail("a wire record the app does not decode to the same event", line);

    using D = HookDecision::Decision;
    for (const HookDecision& decision :
         {HookDecision{D::approve, {}, {}}, HookDecision{D::approve, {}, "Blue"},
          HookDecision{D::deny, "User denied", {}}, HookDecision{D::passthrough, {}, {}}}) {
        const std::string answer = claudeCodeAnswer(*hookInput, decision);
        if (answer.empty())
            continue;
        if (answer.back() != '\n' || answer.find('\n') != answer.size() - 1 ||
            !nlohmann::json::parse(answer, nullptr, false).is_object())
            fail("an answer that is not one JSON object on one line", answer);
    }
    return 0;
}
