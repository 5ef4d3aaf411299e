// SPDX-License-Identifier: MIT
// Reads a Claude Code transcript (JSON Lines) and keeps what the session list needs from it.
// A reader is kept per transcript: each update() reads only the bytes appended since the last
// one, and starts over when the file shrank, was replaced or its beginning changed.
#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

// What a transcript says about its session.
struct TranscriptFacts {
    std::optional<QString> firstPrompt; // markup stripped, cut to 240 characters plus "…"
    std::optional<QString> lastPrompt;
    int promptCount = 0;
    std::optional<QString> lastAssistant;
    std::optional<QString> lastAssistantModel;
    bool turnComplete = true; // also for a transcript without message lines or unreadable
    std::optional<QString> cwd;

    bool operator==(const TranscriptFacts&) const = default;
};

// The state of a parse after some number of complete lines; feeding it the remaining lines
// gives the same facts as feeding it the whole file.
class TranscriptParse {
public:
    // One line without its line feed.
    void consumeLine(std::string_view line);
    TranscriptFacts facts() const;

    // Cheap test for lines that may be "user" or "assistant" messages; the others are skipped
    // without decoding. It looks for a "type" key whose string value is "user" or "assistant"
    // (or escaped, to be safe); inside a JSON string a quote is always escaped, so text that
    // merely quotes such a line cannot match.
    static bool mayBeMessage(std::string_view line);
    // A prompt as shown: wrapper elements removed, trimmed, long texts cut. Absent when empty.
    static std::optional<QString> promptText(std::string_view utf8);

private:
    std::optional<QString> m_firstPrompt;
    std::optional<QString> m_lastPrompt;
    int m_promptCount = 0;
    std::optional<std::string> m_lastAssistant;
    std::optional<std::string> m_lastModel;
    std::unordered_set<std::string> m_openToolUses; // tool_use ids still waiting for a result
    bool m_sawMessage = false;
    bool m_lastIsAssistant = false;
    std::optional<std::string> m_lastStopReason;
    std::optional<std::string> m_cwd;
};

class TranscriptReader {
public:
    // Lines longer than this are skipped as undecodable: nothing Claude Code writes comes close,
    // and a binary file without line feeds must not take the memory.
    static constexpr std::size_t maxLineBytes = 64u << 20;
    // An unfinished last line up to this size is kept between updates; a longer one is read
    // again from its start when the rest arrives.
    static constexpr std::size_t maxKeptPartialBytes = 1u << 20;

    explicit TranscriptReader(std::string path);

    enum class Outcome { unchanged, read, reread, vanished, unreadable };
    // Brings facts() up to date with the file. A vanished or unreadable file leaves the facts
    // of an unreadable transcript (nothing known, turn complete).
    Outcome update();
    const TranscriptFacts& facts() const { return m_facts; }
    const std::string& path() const { return m_path; }
    // Bytes taken from the file into complete lines or the kept partial line.
    uint64_t offset() const { return m_offset; }

    // A fresh reader's view of the whole file.
    static TranscriptFacts parseFile(const std::string& path);

private:
    void reset();
    void feed(const char* data, std::size_t size);
    void finishLine(std::string_view line);
    void refreshFacts();

    std::string m_path;
    TranscriptParse m_parse;
    TranscriptFacts m_facts;
    uint64_t m_offset = 0;
    uint64_t m_device = 0;
    uint64_t m_inode = 0;
    std::string m_head;      // the file's first bytes, to notice a rewrite in place
    std::string m_partial;   // bytes of the unfinished line
    bool m_skipping = false; // the unfinished line is over maxLineBytes
    bool m_started = false;
};
