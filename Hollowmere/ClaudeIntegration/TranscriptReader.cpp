// SPDX-License-Identifier: MIT
#include "TranscriptReader.h"

#include <QRegularExpression>

#include <simdjson.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

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
    // simdjson wants readable padding after the text. The parser and buffer are reused for
    // ordinary lines; a rare huge one (a pasted image) gets its own, released right after, so
    // its memory is not kept for the life of the app.
    constexpr std::size_t reusedUpTo = 1u << 20;
    static thread_local simdjson::dom::parser reusedParser;
    static thread_local std::string reusedBuffer;
    std::optional<simdjson::dom::parser> ownParser;
    std::string ownBuffer;
    const bool huge = line.size() > reusedUpTo;
    simdjson::dom::parser& parser = huge ? ownParser.emplace() : reusedParser;
    std::string& padded = huge ? ownBuffer : reusedBuffer;
    padded.resize(line.size() + simdjson::SIMDJSON_PADDING);
    std::memcpy(padded.data(), line.data(), line.size());
    simdjson::dom::object j;
    if (parser.parse(padded.data(), line.size(), false).get_object().get(j))
        return;
    std::string_view type;
    if (j["type"].get_string().get(type) || (type != "user" && type != "assistant"))
        return;
    const bool assistant = type == "assistant";
    m_sawMessage = true;
    m_lastIsAssistant = assistant;
    m_lastStopReason.reset();
    if (std::string_view cwd; !j["cwd"].get_string().get(cwd))
        m_cwd = std::string(cwd);

    simdjson::dom::object message;
    if (j["message"].get_object().get(message))
        return;
    if (assistant) {
        if (std::string_view stop; !message["stop_reason"].get_string().get(stop))
            m_lastStopReason = std::string(stop);
        if (std::string_view model; !message["model"].get_string().get(model))
            m_lastModel = std::string(model);
    }
    auto addPrompt = [this](std::string_view raw) {
        if (auto prompt = promptText(raw)) {
            if (!m_firstPrompt)
                m_firstPrompt = prompt;
            m_lastPrompt = std::move(prompt);
            ++m_promptCount;
        }
    };

    simdjson::dom::element content;
    if (message["content"].get(content))
        return;
    if (std::string_view text; !content.get_string().get(text)) {
        if (!assistant)
            addPrompt(text);
        else if (!text.empty())
            m_lastAssistant = std::string(text);
        return;
    }
    simdjson::dom::array blocks;
    if (content.get_array().get(blocks))
        return;
    std::string assistantText;
    for (simdjson::dom::element element : blocks) {
        simdjson::dom::object block;
        std::string_view blockType;
        if (element.get_object().get(block) || block["type"].get_string().get(blockType))
            continue;
        if (blockType == "text") {
            std::string_view text;
            if (block["text"].get_string().get(text))
                continue;
            if (!assistant) {
                addPrompt(text);
            } else if (!text.empty()) {
                if (!assistantText.empty())
                    assistantText += '\n';
                assistantText += text;
            }
        } else if (blockType == "tool_use") {
            if (std::string_view id; !block["id"].get_string().get(id))
                m_openToolUses.insert(std::string(id));
        } else if (blockType == "tool_result") {
            if (std::string_view id; !block["tool_use_id"].get_string().get(id))
                m_openToolUses.erase(std::string(id));
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
