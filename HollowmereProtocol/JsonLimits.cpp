// SPDX-License-Identifier: MIT
#include "JsonLimits.h"

bool jsonNestingWithin(std::string_view text, int limit) {
    int depth = 0;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i; // the escaped character cannot end the string
            else if (c == '"')
                inString = false;
            continue;
        }
        switch (c) {
        case '"':
            inString = true;
            break;
        case '[':
        case '{':
            if (++depth > limit)
                return false;
            break;
        case ']':
        case '}':
            --depth;
            break;
        default:
            break;
        }
    }
    return true;
}
