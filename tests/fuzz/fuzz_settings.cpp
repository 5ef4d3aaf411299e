// SPDX-License-Identifier: MIT
// Whatever bytes a settings file holds: reading never crashes, and a file we would rewrite comes
// back from the rewrite with exactly the same values. A file we flag as holding an inexact number
// is one we never rewrite, so only the others must round-trip.
#include "ClaudeIntegration/SettingsFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using SettingsFile::Contents;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const Contents first = SettingsFile::parse(bytes);
    if (first.state != Contents::State::object || first.inexactNumber)
        return 0;

    const std::string text = first.root.dump(2) + "\n"; // what a write puts on disk
    const Contents second = SettingsFile::parse(QByteArray::fromStdString(text));
    if (second.state != Contents::State::object || second.inexactNumber ||
        second.root != first.root || second.root.dump(2) + "\n" != text) {
        std::fprintf(stderr, "settings did not survive a rewrite:\n%s\n", text.c_str());
        std::abort();
    }
    return 0;
}
