// SPDX-License-Identifier: MIT
// The bound on how deeply JSON from outside may nest. Parsing is iterative, but printing, copying
// and comparing a parsed value recurse once per level, so a file or a message nested a hundred
// thousand levels deep would overflow the stack; real hook inputs, wire records and settings
// files nest about ten levels.
#pragma once

#include <string_view>

inline constexpr int jsonNestingLimit = 64;

// True when no array or object in `text` opens deeper than `limit` levels. Judged on the bytes
// alone (brackets outside strings), in one pass and without recursion, so it is safe to ask
// before parsing; text that is not JSON may pass, and the parser then refuses it.
bool jsonNestingWithin(std::string_view text, int limit = jsonNestingLimit);
