// SPDX-License-Identifier: MIT
// Whatever bytes a settings file holds: reading never crashes, and a file we would rewrite comes
// back from the rewrite with exactly the same values and the same text. A file we refuse to
// rewrite (too deep, an inexact number, too large once indented) is never written.
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
    const auto text = SettingsFile::rewrite(first, first.root); // what a write puts on disk
    if (!text)
        return 0;

    const Contents second = SettingsFile::parse(QByteArray::fromStdString(*text));
    if (second.state != Contents::State::object || second.inexactNumber ||
        second.root != first.root || SettingsFile::rewrite(second, second.root) != text) {
        std::fprintf(stderr, "settings did not survive a rewrite:\n%s\n", text->c_str());
        std::abort();
    }
    return 0;
}
