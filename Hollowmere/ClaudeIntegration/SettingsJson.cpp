// SPDX-License-Identifier: MIT
#include "SettingsJson.h"

#include "JsonLimits.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace SettingsJson {
namespace {

using nlohmann::json;
using DomParser = nlohmann::detail::json_sax_dom_parser<json>;

constexpr char16_t marker = 0xFDD0;
constexpr char markerUtf8[] = "\xef\xb7\x90";
constexpr std::size_t markerSize = 3;
constexpr char replacementUtf8[] = "\xef\xbf\xbd";

// Builds the DOM like nlohmann's own parser, but sees each number's literal text, so it can tell
// which numbers would not survive being written back.
class ExactnessCheckingParser {
public:
    explicit ExactnessCheckingParser(json& root) : m_dom(root, false) {}

    std::optional<std::string> inexactNumber;

    bool null() { return m_dom.null(); }
    bool boolean(bool v) { return m_dom.boolean(v); }
    bool number_integer(json::number_integer_t v) { return m_dom.number_integer(v); }
    bool number_unsigned(json::number_unsigned_t v) { return m_dom.number_unsigned(v); }
    bool number_float(json::number_float_t v, const std::string& literal) {
        // An integer literal only becomes a double when it does not fit 64 bits.
        if (!inexactNumber && literal.find_first_of(".eE") == std::string::npos)
            inexactNumber = literal;
        return m_dom.number_float(v, literal);
    }
    bool string(std::string& v) { return m_dom.string(v); }
    bool binary(json::binary_t& v) { return m_dom.binary(v); }
    bool start_object(std::size_t n) { return m_dom.start_object(n); }
    bool key(std::string& k) { return m_dom.key(k); }
    bool end_object() { return m_dom.end_object(); }
    bool start_array(std::size_t n) { return m_dom.start_array(n); }
    bool end_array() { return m_dom.end_array(); }
    bool parse_error(std::size_t, const std::string& token, const nlohmann::detail::exception& e) {
        // 406: a number too large for a double. JavaScript reads it as Infinity, so Claude Code
        // still accepts the file; we must not replace it.
        if (e.id == 406 && !inexactNumber)
            inexactNumber = token;
        return false;
    }

private:
    DomParser m_dom;
};

// Length of the well-formed UTF-8 sequence at `i`, or 0 when it is not one. Follows the
// decoder of the WHATWG Encoding standard, which is how Claude Code reads the file: an ill-formed
// sequence is replaced, as one U+FFFD, up to the first byte that cannot continue it.
std::size_t sequenceAt(std::string_view s, std::size_t i, std::size_t& illFormedLength) {
    const auto b = static_cast<unsigned char>(s[i]);
    if (b < 0x80)
        return 1;
    std::size_t need = 0;
    unsigned char lower = 0x80, upper = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) {
        need = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
        need = 2;
        lower = b == 0xE0 ? 0xA0 : 0x80;
        upper = b == 0xED ? 0x9F : 0xBF;
    } else if (b >= 0xF0 && b <= 0xF4) {
        need = 3;
        lower = b == 0xF0 ? 0x90 : 0x80;
        upper = b == 0xF4 ? 0x8F : 0xBF;
    } else {
        illFormedLength = 1;
        return 0;
    }
    std::size_t j = i + 1;
    for (std::size_t k = 0; k < need; ++k, ++j) {
        const auto c = j < s.size() ? static_cast<unsigned char>(s[j]) : 0;
        if (j >= s.size() || c < lower || c > upper) {
            illFormedLength = j - i;
            return 0;
        }
        lower = 0x80;
        upper = 0xBF;
    }
    return need + 1;
}

// The bytes with every ill-formed UTF-8 sequence replaced by U+FFFD; nothing when all are fine.
std::optional<std::string> wellFormed(std::string_view s) {
    std::optional<std::string> out;
    for (std::size_t i = 0, ill = 0; i < s.size();) {
        const std::size_t n = sequenceAt(s, i, ill);
        if (n > 0) {
            if (out)
                out->append(s.substr(i, n));
            i += n;
            continue;
        }
        if (!out)
            out.emplace(s.substr(0, i));
        out->append(replacementUtf8);
        i += ill;
    }
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The code unit of a "\uXXXX" escape at `i`, when there is one.
std::optional<char16_t> escapeAt(std::string_view s, std::size_t i) {
    if (i + 6 > s.size() || s[i] != '\\' || s[i + 1] != 'u')
        return std::nullopt;
    unsigned v = 0;
    for (std::size_t k = i + 2; k < i + 6; ++k) {
        const int h = hexValue(s[k]);
        if (h < 0)
            return std::nullopt;
        v = v * 16 + unsigned(h);
    }
    return char16_t(v);
}

bool isHigh(char16_t u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLow(char16_t u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

void appendMarked(std::string& out, char16_t unit) {
    static const char digits[] = "0123456789abcdef";
    out.append(markerUtf8);
    for (int shift = 12; shift >= 0; shift -= 4)
        out.push_back(digits[(unit >> shift) & 0xF]);
}

// Inside strings, lone surrogate escapes and U+FDD0 (escaped or not) become marked units, which
// the strict parser takes. Outside strings nothing changes.
std::optional<std::string> withMarkedUnits(std::string_view s) {
    std::optional<std::string> out;
    std::size_t copied = 0; // s[0, copied) is in `out` already
    auto replace = [&](std::size_t from, std::size_t length, char16_t unit) {
        if (!out)
            out.emplace();
        out->append(s.substr(copied, from - copied));
        appendMarked(*out, unit);
        copied = from + length;
    };
    bool inString = false;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (!inString) {
            inString = s[i] == '"';
            continue;
        }
        if (s[i] == '"') {
            inString = false;
        } else if (s.compare(i, markerSize, markerUtf8) == 0) {
            replace(i, markerSize, marker);
            i += markerSize - 1;
        } else if (s[i] == '\\') {
            const auto unit = escapeAt(s, i);
            if (unit && isHigh(*unit)) {
                const auto next = escapeAt(s, i + 6);
                if (next && isLow(*next)) {
                    i += 11; // a pair, as it should be
                    continue;
                }
            }
            if (unit && (isHigh(*unit) || isLow(*unit) || *unit == marker)) {
                replace(i, 6, *unit);
                i += 5;
            } else {
                ++i; // the escaped character cannot end the string
            }
        }
    }
    if (out)
        out->append(s.substr(copied));
    return out;
}

// Writes into a string, refusing to grow it past a limit.
class LimitedOutput : public nlohmann::detail::output_adapter_protocol<char> {
public:
    struct Full {};
    LimitedOutput(std::string& out, std::size_t limit) : m_out(out), m_limit(limit) {}
    void write_character(char c) override {
        if (m_out.size() >= m_limit)
            throw Full{};
        m_out.push_back(c);
    }
    void write_characters(const char* s, std::size_t length) override {
        if (length > m_limit - std::min(m_limit, m_out.size()))
            throw Full{};
        m_out.append(s, length);
    }

private:
    std::string& m_out;
    std::size_t m_limit;
};

} // namespace

Parsed parse(const QByteArray& bytes) {
    Parsed p;
    if (bytes.trimmed().isEmpty())
        return p;
    std::string_view text(bytes.constData(), std::size_t(bytes.size()));
    if (!jsonNestingWithin(text)) {
        p.state = Parsed::State::tooDeep;
        return p;
    }
    const auto utf8 = wellFormed(text);
    if (utf8)
        text = *utf8;
    const auto marked = withMarkedUnits(text);
    if (marked)
        text = *marked;

    json root;
    ExactnessCheckingParser parser(root);
    const bool ok = json::sax_parse(text.begin(), text.end(), &parser);
    p.inexactNumber = parser.inexactNumber;
    if (ok && root.is_object()) {
        p.state = Parsed::State::object;
        p.root = std::move(root);
    } else {
        p.state = Parsed::State::malformed;
    }
    return p;
}

std::optional<std::string> serialise(const json& root, std::size_t limit) {
    std::string text;
    try {
        nlohmann::detail::serializer<json> writer(std::make_shared<LimitedOutput>(text, limit), ' ',
                                                  json::error_handler_t::strict);
        writer.dump(root, true, false, 2);
    } catch (const LimitedOutput::Full&) {
        return std::nullopt;
    } catch (const json::exception&) {
        return std::nullopt;
    }
    if (text.size() >= limit)
        return std::nullopt;
    text.push_back('\n');

    // Marked units back to escapes. Strings are the only place they can be.
    std::size_t at = text.find(markerUtf8);
    if (at == std::string::npos)
        return text;
    std::string out;
    out.reserve(text.size());
    std::size_t copied = 0;
    for (; at != std::string::npos; at = text.find(markerUtf8, at + 1)) {
        if (at + markerSize + 4 > text.size())
            break;
        out.append(text, copied, at - copied);
        out.append("\\u");
        out.append(text, at + markerSize, 4);
        copied = at + markerSize + 4;
    }
    out.append(text, copied);
    return out;
}

std::string toStored(const QString& text) {
    std::string out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t u = text.at(i).unicode();
        if (isHigh(u) && i + 1 < text.size() && isLow(text.at(i + 1).unicode())) {
            out.append(text.mid(i, 2).toUtf8().toStdString());
            ++i;
        } else if (isHigh(u) || isLow(u) || u == marker) {
            appendMarked(out, u);
        } else {
            out.append(QString(text.at(i)).toUtf8().toStdString());
        }
    }
    return out;
}

QString fromStored(const std::string& stored) {
    const QString text = QString::fromStdString(stored);
    if (!text.contains(QChar(marker)))
        return text;
    QString out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        bool ok = false;
        const uint unit = text.at(i) == QChar(marker) ? text.mid(i + 1, 4).toUInt(&ok, 16) : 0;
        if (ok && text.mid(i + 1, 4).size() == 4) {
            out.append(QChar(char16_t(unit)));
            i += 4;
        } else {
            out.append(text.at(i));
        }
    }
    return out;
}

} // namespace SettingsJson
