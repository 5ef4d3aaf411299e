// SPDX-License-Identifier: MIT
#include "TranscriptReader.h"

#include <QRegularExpression>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using nlohmann::json;

namespace {

constexpr int promptCharacterLimit = 240;
constexpr std::size_t headBytes = 64;
constexpr std::size_t blockBytes = 4u << 20;

const char* skipSpace(const char* p, const char* end) {
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n'))
        ++p;
    return p;
}

bool startsWith(const char* p, const char* end, std::string_view prefix) {
    return std::size_t(end - p) >= prefix.size() &&
           std::memcmp(p, prefix.data(), prefix.size()) == 0;
}

const std::string* stringAt(const json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && it->is_string() ? &it->get_ref<const std::string&>() : nullptr;
}

// Cuts after `limit` characters (code points, so a surrogate pair is never split).
QString cutToCharacters(const QString& text, int limit) {
    int characters = 0;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i].isLowSurrogate())
            continue;
        if (characters == limit)
            return text.left(i) + QChar(0x2026);
        ++characters;
    }
    return text;
}

} // namespace

bool TranscriptParse::mayBeMessage(std::string_view line) {
    const char* p = line.data();
    const char* const end = p + line.size();
    while (p < end) {
        const void* hit = memmem(p, std::size_t(end - p), "\"type\"", 6);
        if (!hit)
            return false;
        const char* q = skipSpace(static_cast<const char*>(hit) + 6, end);
        p = q;
        if (q == end || *q != ':')
            continue;
        q = skipSpace(q + 1, end);
        p = q;
        if (q == end || *q != '"')
            continue;
        ++q;
        if (startsWith(q, end, "user\"") || startsWith(q, end, "assistant\"") ||
            startsWith(q, end, "\\"))
            return true;
        p = q;
    }
    return false;
}

std::optional<QString> TranscriptParse::promptText(std::string_view utf8) {
    static const QRegularExpression markup(QStringLiteral("<[^>]+>[\\s\\S]*?</[^>]+>"));
    QString text = QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    if (text.contains(QLatin1String("</")))
        text.remove(markup);
    text = text.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    return cutToCharacters(text, promptCharacterLimit);
}

void TranscriptParse::consumeLine(std::string_view line) {
    if (!mayBeMessage(line))
        return;
    const json j = json::parse(line.begin(), line.end(), nullptr, false);
    if (j.is_discarded() || !j.is_object())
        return;
    const std::string* type = stringAt(j, "type");
    if (!type || (*type != "user" && *type != "assistant"))
        return;
    const bool assistant = *type == "assistant";
    m_sawMessage = true;
    m_lastIsAssistant = assistant;
    m_lastStopReason.reset();
    if (const std::string* cwd = stringAt(j, "cwd"))
        m_cwd = *cwd;

    auto message = j.find("message");
    if (message == j.end() || !message->is_object())
        return;
    if (assistant) {
        if (const std::string* stop = stringAt(*message, "stop_reason"))
            m_lastStopReason = *stop;
        if (const std::string* model = stringAt(*message, "model"))
            m_lastModel = *model;
    }
    auto addPrompt = [this](const std::string& raw) {
        if (auto prompt = promptText(raw)) {
            if (!m_firstPrompt)
                m_firstPrompt = prompt;
            m_lastPrompt = std::move(prompt);
            ++m_promptCount;
        }
    };

    auto content = message->find("content");
    if (content == message->end())
        return;
    if (content->is_string()) {
        const auto& text = content->get_ref<const std::string&>();
        if (!assistant)
            addPrompt(text);
        else if (!text.empty())
            m_lastAssistant = text;
        return;
    }
    if (!content->is_array())
        return;
    std::string assistantText;
    for (const json& block : *content) {
        if (!block.is_object())
            continue;
        const std::string* blockType = stringAt(block, "type");
        if (!blockType)
            continue;
        if (*blockType == "text") {
            const std::string* text = stringAt(block, "text");
            if (!text)
                continue;
            if (!assistant) {
                addPrompt(*text);
            } else if (!text->empty()) {
                if (!assistantText.empty())
                    assistantText += '\n';
                assistantText += *text;
            }
        } else if (*blockType == "tool_use") {
            if (const std::string* id = stringAt(block, "id"))
                m_openToolUses.insert(*id);
        } else if (*blockType == "tool_result") {
            if (const std::string* id = stringAt(block, "tool_use_id"))
                m_openToolUses.erase(*id);
        }
    }
    if (!assistantText.empty())
        m_lastAssistant = std::move(assistantText);
}

TranscriptFacts TranscriptParse::facts() const {
    TranscriptFacts f;
    f.firstPrompt = m_firstPrompt;
    f.lastPrompt = m_lastPrompt;
    f.promptCount = m_promptCount;
    auto toQString = [](const std::optional<std::string>& s) -> std::optional<QString> {
        if (!s)
            return std::nullopt;
        return QString::fromUtf8(s->data(), qsizetype(s->size()));
    };
    f.lastAssistant = toQString(m_lastAssistant);
    f.lastAssistantModel = toQString(m_lastModel);
    f.cwd = toQString(m_cwd);
    if (!m_sawMessage)
        f.turnComplete = true;
    else if (!m_lastIsAssistant || !m_lastStopReason)
        f.turnComplete = false;
    else if (*m_lastStopReason == "end_turn" || *m_lastStopReason == "stop_sequence" ||
             *m_lastStopReason == "max_tokens")
        f.turnComplete = m_openToolUses.empty();
    else
        f.turnComplete = false;
    return f;
}

TranscriptReader::TranscriptReader(std::string path) : m_path(std::move(path)) {}

void TranscriptReader::reset() {
    m_parse = TranscriptParse();
    m_facts = TranscriptFacts();
    m_offset = 0;
    m_device = m_inode = 0;
    m_head.clear();
    m_partial.clear();
    m_partial.shrink_to_fit();
    m_skipping = false;
    m_started = false;
}

TranscriptFacts TranscriptReader::parseFile(const std::string& path) {
    TranscriptReader reader(path);
    reader.update();
    return reader.facts();
}

TranscriptReader::Outcome TranscriptReader::update() {
    // Non-blocking so that a FIFO or device named like a transcript cannot hang the scan.
    const int fd = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        const bool vanished = errno == ENOENT || errno == ENOTDIR;
        reset();
        return vanished ? Outcome::vanished : Outcome::unreadable;
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};

    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        reset();
        return Outcome::unreadable;
    }
    const auto size = uint64_t(st.st_size);
    bool reread = false;
    if (m_started) {
        bool replaced =
            uint64_t(st.st_dev) != m_device || uint64_t(st.st_ino) != m_inode || size < m_offset;
        if (!replaced && !m_head.empty()) {
            std::string now(m_head.size(), '\0');
            replaced =
                ::pread(fd, now.data(), now.size(), 0) != ssize_t(now.size()) || now != m_head;
        }
        if (replaced) {
            reset();
            reread = true;
        } else if (size == m_offset) {
            return Outcome::unchanged;
        }
    }
    m_started = true;
    m_device = uint64_t(st.st_dev);
    m_inode = uint64_t(st.st_ino);

    const std::size_t bufferBytes =
        std::size_t(std::clamp<uint64_t>(size - std::min(size, m_offset) + 1, 4096, blockBytes));
    std::unique_ptr<char[]> buffer(new char[bufferBytes]);
    for (;;) {
        const ssize_t n = ::pread(fd, buffer.get(), bufferBytes, off_t(m_offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break; // an error mid-file keeps what was read; the next update tries again
        if (m_offset == m_head.size() && m_head.size() < headBytes)
            m_head.append(buffer.get(), std::min(std::size_t(n), headBytes - m_head.size()));
        feed(buffer.get(), std::size_t(n));
        m_offset += uint64_t(n);
    }
    refreshFacts();
    if (!m_skipping && m_partial.size() > maxKeptPartialBytes) {
        m_offset -= m_partial.size();
        m_partial.clear();
        m_partial.shrink_to_fit();
    }
    return reread ? Outcome::reread : Outcome::read;
}

void TranscriptReader::feed(const char* data, std::size_t size) {
    const char* p = data;
    const char* const end = data + size;
    if (m_skipping || !m_partial.empty()) {
        const char* nl = static_cast<const char*>(std::memchr(p, '\n', size));
        const std::size_t piece = std::size_t((nl ? nl : end) - p);
        if (!m_skipping && m_partial.size() + piece > maxLineBytes) {
            m_partial.clear();
            m_partial.shrink_to_fit();
            m_skipping = true;
        }
        if (!m_skipping)
            m_partial.append(p, piece);
        if (!nl)
            return;
        if (!m_skipping)
            finishLine(m_partial);
        m_partial.clear();
        m_skipping = false;
        p = nl + 1;
    }
    while (p < end) {
        const char* nl = static_cast<const char*>(std::memchr(p, '\n', std::size_t(end - p)));
        if (!nl)
            break;
        finishLine(std::string_view(p, std::size_t(nl - p)));
        p = nl + 1;
    }
    if (p < end) {
        const std::size_t rest = std::size_t(end - p);
        if (rest > maxLineBytes)
            m_skipping = true;
        else
            m_partial.assign(p, rest);
    }
}

void TranscriptReader::finishLine(std::string_view line) {
    if (line.size() <= maxLineBytes)
        m_parse.consumeLine(line);
}

void TranscriptReader::refreshFacts() {
    // An unfinished last line counts only if it already decodes (a transcript written without
    // a final line feed); a line Claude Code is still writing never does, so it just waits.
    if (m_skipping || m_partial.empty() || !TranscriptParse::mayBeMessage(m_partial)) {
        m_facts = m_parse.facts();
        return;
    }
    TranscriptParse tentative = m_parse;
    tentative.consumeLine(m_partial);
    m_facts = tentative.facts();
}
