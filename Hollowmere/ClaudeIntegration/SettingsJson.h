// SPDX-License-Identifier: MIT
// Claude Code's settings file as JSON text, read the way Claude Code reads it and written back so
// that Claude Code reads the same values again. Claude Code's JSON reader is more lenient than a
// strict one: it takes lone UTF-16 surrogate escapes ("\ud800") and bytes that are not UTF-8
// (decoded as U+FFFD). Parsed values hold such a surrogate as the noncharacter U+FDD0 followed by
// its four hex digits (and a real U+FDD0 the same way, as "fdd0"); serialise() turns them back
// into escapes. Strings going in and out of parsed values pass through toStored() and
// fromStored().
#pragma once

#include <QByteArray>
#include <QString>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>

namespace SettingsJson {

struct Parsed {
    enum class State {
        blank,     // empty or whitespace only
        object,    // a JSON object
        malformed, // anything Claude Code would not read as an object either
        tooDeep,   // nests deeper than jsonNestingLimit: never parsed, never rewritten
    };
    State state = State::blank;
    nlohmann::json root = nlohmann::json::object();
    // The first number literal a rewrite would change (an integer beyond 64 bits, or a value too
    // large for a double).
    std::optional<std::string> inexactNumber;
};

Parsed parse(const QByteArray& bytes);

// Pretty-printed with two spaces and sorted keys, as Claude Code writes the file, ending in a line
// feed. Nothing when the text would exceed `limit` bytes (it is never built whole) or a string is
// not UTF-8.
std::optional<std::string> serialise(const nlohmann::json& root,
                                     std::size_t limit = std::string::npos);

std::string toStored(const QString& text);
QString fromStored(const std::string& stored);

} // namespace SettingsJson
