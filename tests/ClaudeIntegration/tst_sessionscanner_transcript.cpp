// SPDX-License-Identifier: MIT
// The transcript reader: what it takes from each kind of line, how it survives bad input, and
// that reading only what was appended always ends where a read of the whole file ends.
#include <QtTest>

#include <nlohmann/json.hpp>

#include <fstream>
#include <random>
#include <set>
#include <sys/stat.h>

#include "ClaudeIntegration/TranscriptReader.h"

using nlohmann::json;

namespace QTest {
template <> inline char* toString(const std::optional<QString>& s) {
    return qstrdup(s ? ("\"" + s->toUtf8() + "\"").constData() : "(absent)");
}
} // namespace QTest

namespace {

std::string userPrompt(const std::string& text, const std::string& cwd = "/w") {
    return json{{"type", "user"}, {"cwd", cwd}, {"message", {{"role", "user"}, {"content", text}}}}
        .dump();
}

std::string userBlocks(json blocks) {
    return json{
        {"type", "user"}, {"cwd", "/w"}, {"message", {{"role", "user"}, {"content", blocks}}}}
        .dump();
}

std::string toolResult(const std::string& id) {
    return userBlocks(
        json::array({{{"type", "tool_result"}, {"tool_use_id", id}, {"content", "ok"}}}));
}

std::string assistant(json blocks, json stopReason, const std::string& model = "claude-test") {
    json message = {{"role", "assistant"}, {"model", model}, {"content", blocks}};
    if (!stopReason.is_discarded())
        message["stop_reason"] = stopReason;
    return json{{"type", "assistant"}, {"cwd", "/w"}, {"message", message}}.dump();
}

std::string assistantText(const std::string& text, json stopReason = "end_turn") {
    return assistant(json::array({{{"type", "text"}, {"text", text}}}), stopReason);
}

std::string toolUse(const std::string& id) {
    return assistant(json::array({{{"type", "tool_use"}, {"id", id}, {"name", "Bash"}}}),
                     "tool_use");
}

json missing() {
    return json(json::value_t::discarded);
}

// An independent straightforward reading: every line decoded in full, no pre-filter, no state
// carried between reads.
TranscriptFacts referenceParse(const std::string& content) {
    TranscriptFacts f;
    std::set<std::string> open;
    bool saw = false, lastAssistant = false;
    std::optional<std::string> stop;
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t nl = content.find('\n', start);
        const std::string line = content.substr(start, nl == std::string::npos ? nl : nl - start);
        start = nl == std::string::npos ? content.size() : nl + 1;
        json j = json::parse(line, nullptr, false);
        if (j.is_discarded() || !j.is_object() || !j.contains("type") || !j["type"].is_string())
            continue;
        const std::string type = j["type"];
        if (type != "user" && type != "assistant")
            continue;
        saw = true;
        lastAssistant = type == "assistant";
        stop.reset();
        if (j.contains("cwd") && j["cwd"].is_string())
            f.cwd = QString::fromStdString(j["cwd"]);
        if (!j.contains("message") || !j["message"].is_object())
            continue;
        json m = j["message"];
        if (lastAssistant && m.contains("stop_reason") && m["stop_reason"].is_string())
            stop = m["stop_reason"].get<std::string>();
        if (lastAssistant && m.contains("model") && m["model"].is_string())
            f.lastAssistantModel = QString::fromStdString(m["model"]);
        auto prompt = [&](const std::string& t) {
            if (auto p = TranscriptParse::promptText(t)) {
                if (!f.firstPrompt)
                    f.firstPrompt = p;
                f.lastPrompt = p;
                ++f.promptCount;
            }
        };
        json c = m.contains("content") ? m["content"] : json();
        if (c.is_string()) {
            if (!lastAssistant)
                prompt(c);
            else if (!c.get<std::string>().empty())
                f.lastAssistant = QString::fromStdString(c);
            continue;
        }
        QStringList texts;
        for (const json& b : c.is_array() ? c : json::array()) {
            if (!b.is_object() || !b.contains("type") || !b["type"].is_string())
                continue;
            const std::string bt = b["type"];
            if (bt == "text" && b.contains("text") && b["text"].is_string()) {
                if (!lastAssistant)
                    prompt(b["text"]);
                else if (!b["text"].get<std::string>().empty())
                    texts << QString::fromStdString(b["text"]);
            } else if (bt == "tool_use" && b.contains("id") && b["id"].is_string()) {
                open.insert(b["id"].get<std::string>());
            } else if (bt == "tool_result" && b.contains("tool_use_id") &&
                       b["tool_use_id"].is_string()) {
                open.erase(b["tool_use_id"].get<std::string>());
            }
        }
        if (!texts.isEmpty())
            f.lastAssistant = texts.join('\n');
    }
    if (!saw)
        f.turnComplete = true;
    else if (!lastAssistant || !stop)
        f.turnComplete = false;
    else
        f.turnComplete = (*stop == "end_turn" || *stop == "stop_sequence" || *stop == "max_tokens")
                             ? open.empty()
                             : false;
    return f;
}

std::string randomLine(std::mt19937& rng, int& nextTool) {
    auto pick = [&](int n) { return int(rng() % unsigned(n)); };
    static const std::vector<std::string> words = {
        "fix", "the", "<tag>wrapped\nblock</tag>", "ünïcödé", "😀", "build", "\"quoted\"", "a<b"};
    auto text = [&] {
        std::string t;
        for (int i = pick(6); i >= 0; --i)
            t += words[std::size_t(pick(int(words.size())))] + " ";
        if (pick(10) == 0)
            t += std::string(300, 'x');
        return t;
    };
    const json stops[] = {"end_turn",   "tool_use", "stop_sequence", "max_tokens",
                          "pause_turn", nullptr,    missing()};
    auto tool = [&] { return "toolu_" + std::to_string(pick(nextTool + 1)); };
    switch (pick(16)) {
    case 0:
        return userPrompt(text(), "/cwd/" + std::to_string(pick(3)));
    case 1:
        return userBlocks(json::array({{{"type", "text"}, {"text", text()}}}));
    case 2:
        return toolResult(tool());
    case 3:
        return assistantText(text(), stops[pick(7)]);
    case 4:
        return toolUse("toolu_" + std::to_string(++nextTool));
    case 5:
        return assistant(json::array({{{"type", "text"}, {"text", text()}},
                                      {{"type", "tool_use"}, {"id", tool()}}}),
                         stops[pick(7)], "model-" + std::to_string(pick(3)));
    case 6:
        return R"({"type":"system","cwd":"/sys","content":"x"})";
    case 7:
        return json{{"type", "api-request-blob"},
                    {"body", userPrompt(text()) + assistantText("inner")},
                    {"echo", json::parse(userPrompt("nested object"))}}
            .dump();
    case 8:
        return "{\"type\":\"user\",\"message\":{\"content\":\"cut off";
    case 9:
        return "\xff\xfe\x00garbage";
    case 10:
        return "";
    case 11:
        return R"({ "type" : "user" , "message" : { "content" : "spaced prompt" } })";
    case 12:
        return userPrompt(text()) + "\r";
    case 13:
        return pick(2) ? "[1,2,3]" : R"({"type":"assistant","message":"not an object"})";
    case 14:
        return R"({"type":"user","message":{"content":"bad \xc3\x28 utf8"}})";
    default:
        return R"({"type":"attachment","attachment":{"type":"user"}})";
    }
}

} // namespace

class TestTranscriptReader : public QObject {
    Q_OBJECT

    std::string path(const char* name) { return m_dir.filePath(name).toStdString(); }
    static void write(const std::string& p, const std::string& bytes, bool append = false) {
        std::ofstream out(p, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
        out << bytes;
    }
    static std::string lines(std::initializer_list<std::string> ls) {
        std::string s;
        for (const auto& l : ls)
            s += l + "\n";
        return s;
    }
    TranscriptFacts parse(const std::string& content) {
        const std::string p = path("t.jsonl");
        write(p, content);
        return TranscriptReader::parseFile(p);
    }

    QTemporaryDir m_dir;

private slots:
    void promptsAndAssistantText() {
        // Only a wrapper block: no prompt at all; wrappers across lines go, the rest stays.
        QCOMPARE(TranscriptParse::promptText("<command-name>/clear</command-name>\n<x>a\nb</x>\n"),
                 std::nullopt);
        QCOMPARE(TranscriptParse::promptText("<ctx>\nsecret\n</ctx>\n  fix the build  "),
                 QString("fix the build"));
        QCOMPARE(TranscriptParse::promptText("a < b and c > d"), QString("a < b and c > d"));
        QCOMPARE(TranscriptParse::promptText("   "), std::nullopt);
        const std::string exact(240, 'x');
        QCOMPARE(TranscriptParse::promptText(exact), QString::fromStdString(exact));
        // Characters, not bytes or UTF-16 units: 241 emoji keep 240 of them whole.
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80").repeated(241);
        QCOMPARE(TranscriptParse::promptText(emoji.toStdString()), emoji.left(480) + QChar(0x2026));

        // String content and text blocks are prompts; tool results and empty texts are not.
        // Claude Code writes one line per block: a tool_use line keeps the text before it.
        auto f = parse(
            lines({userPrompt("<system-reminder>r</system-reminder>"), userPrompt("first"),
                   toolResult("t1"),
                   userBlocks(json::array({{{"type", "text"}, {"text", "second"}},
                                           {{"type", "image"}},
                                           {{"type", "text"}, {"text", "third"}}})),
                   userPrompt("<local-command-stdout>x</local-command-stdout>"),
                   assistantText("thinking aloud", "tool_use"), toolUse("t2"), toolResult("t2"),
                   assistant(json::array({{{"type", "text"}, {"text", "one"}},
                                          {{"type", "text"}, {"text", "two"}}}),
                             "end_turn", "claude-final"),
                   // Past the parser's depth bound: skipped without recursion, like any bad line.
                   R"({"type":"user","message":{"content":)" + std::string(100000, '[') +
                       std::string(100000, ']') + "}}"}));
        QCOMPARE(f.firstPrompt, QString("first"));
        QCOMPARE(f.lastPrompt, QString("third"));
        QCOMPARE(f.promptCount, 3);
        QCOMPARE(f.lastAssistant, QString("one\ntwo"));
        QCOMPARE(f.lastAssistantModel, QString("claude-final"));
    }

    void specialFilesNeitherBlockNorCrash() {
        const std::string fifo = path("fifo.jsonl");
        QCOMPARE(::mkfifo(fifo.c_str(), 0600), 0);
        TranscriptReader fromFifo(fifo);
        QCOMPARE(fromFifo.update(), TranscriptReader::Outcome::unreadable);
        QCOMPARE(fromFifo.facts(), TranscriptFacts());
        QVERIFY(QDir(m_dir.path()).mkdir("dir.jsonl"));
        QCOMPARE(TranscriptReader(path("dir.jsonl")).update(),
                 TranscriptReader::Outcome::unreadable);
        TranscriptReader gone(path("never-there.jsonl"));
        QCOMPARE(gone.update(), TranscriptReader::Outcome::vanished);
        QCOMPARE(gone.facts().turnComplete, true);
    }

    void longLinesAreSkippedOrReadAgainWhole() {
        const std::string p = path("long.jsonl");
        const std::string hugePrompt =
            userPrompt(std::string(TranscriptReader::maxLineBytes + 10, 'a'));
        write(p, userPrompt("before") + "\n");
        TranscriptReader reader(p);
        reader.update();
        // The over-long line arrives in pieces and without its end: it is dropped, not hoarded.
        write(p, hugePrompt.substr(0, hugePrompt.size() / 2), true);
        reader.update();
        write(p, hugePrompt.substr(hugePrompt.size() / 2), true);
        reader.update();
        write(p, "\n" + userPrompt("after") + "\n", true);
        reader.update();
        QCOMPARE(reader.facts().promptCount, 2);
        QCOMPARE(reader.facts().lastPrompt, QString("after"));
        QCOMPARE(TranscriptReader::parseFile(p), reader.facts());

        // A partial line too big to keep is read again from its start when it completes.
        const std::string bigLine = userPrompt(std::string(3 << 20, 'z') + " tail");
        write(p, bigLine.substr(0, 2 << 20), true);
        reader.update();
        QVERIFY(qint64(reader.offset()) < QFileInfo(QString::fromStdString(p)).size());
        write(p, bigLine.substr(2 << 20) + "\n", true);
        reader.update();
        QCOMPARE(reader.facts().promptCount, 3);
        QCOMPARE(reader.facts(), TranscriptReader::parseFile(p));
    }

    void readsOnlyWhatWasAppendedAndStartsOverOnAnotherFile() {
        const std::string p = path("s.jsonl");
        write(p, lines({userPrompt("old one"), toolUse("t")}));
        TranscriptReader reader(p);
        QCOMPARE(reader.update(), TranscriptReader::Outcome::read);
        const uint64_t first = reader.offset();
        QCOMPARE(reader.update(), TranscriptReader::Outcome::unchanged);
        write(p, lines({toolResult("t"), assistantText("done")}), true);
        QCOMPARE(reader.update(), TranscriptReader::Outcome::read);
        QVERIFY(reader.offset() > first);
        QCOMPARE(reader.facts().turnComplete, true); // the tool_use id read earlier was remembered

        write(p, lines({userPrompt("new")})); // shorter
        QCOMPARE(reader.update(), TranscriptReader::Outcome::reread);
        QCOMPARE(reader.facts().firstPrompt, QString("new"));
        QCOMPARE(reader.facts().promptCount, 1);

        // Same beginning length, different bytes, longer file: the first bytes give it away.
        write(p, lines({userPrompt("NEW"), userPrompt("more")}));
        QCOMPARE(reader.update(), TranscriptReader::Outcome::reread);
        QCOMPARE(reader.facts().firstPrompt, QString("NEW"));

        // Replaced by another file with identical leading bytes: another inode.
        const std::string other = path("other.jsonl");
        write(other, lines({userPrompt("NEW"), userPrompt("more"), userPrompt("replaced")}));
        QCOMPARE(::rename(other.c_str(), p.c_str()), 0);
        QCOMPARE(reader.update(), TranscriptReader::Outcome::reread);
        QCOMPARE(reader.facts().promptCount, 3);

        QVERIFY(QFile::remove(QString::fromStdString(p)));
        QCOMPARE(reader.update(), TranscriptReader::Outcome::vanished);
        QCOMPARE(reader.facts(), TranscriptFacts());
    }

    void incrementalEqualsWholeFileOnRandomTranscripts() {
        std::mt19937 rng(20261122);
        const std::string p = path("random.jsonl");
        const std::string whole = path("whole.jsonl");
        for (int round = 0; round < 300; ++round) {
            int nextTool = 0;
            std::string content;
            for (int i = int(rng() % 40); i >= 0; --i)
                content += randomLine(rng, nextTool) + (rng() % 25 == 0 ? "" : "\n");
            write(p, "");
            TranscriptReader reader(p);
            std::size_t written = 0;
            while (written < content.size()) {
                const std::size_t cut =
                    std::min(content.size(), written + 1 + rng() % (content.size() / 3 + 1));
                write(p, content.substr(written, cut - written), true);
                written = cut;
                reader.update();
                const std::string prefix = content.substr(0, cut);
                write(whole, prefix);
                const TranscriptFacts expected = referenceParse(prefix);
                const QByteArray where =
                    QString::asprintf("round %d, cut at %zu of %zu", round, cut, content.size())
                        .toUtf8();
                QVERIFY2(reader.facts() == expected, where);
                QVERIFY2(TranscriptReader::parseFile(whole) == expected, where);
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestTranscriptReader)
#include "tst_sessionscanner_transcript.moc"
