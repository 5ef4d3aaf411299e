// SPDX-License-Identifier: MIT
// Transcripts shaped like the ones Claude Code writes: message lines with their bookkeeping
// fields, tool results carrying file contents twice (message and toolUseResult), and the large
// api-request-blob lines whose bodies repeat the conversation as escaped JSON.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <random>
#include <string>

namespace TranscriptFixture {

inline std::string fileText(std::mt19937& rng, std::size_t bytes) {
    static const char* lines[] = {
        "    for (const auto& entry : std::filesystem::directory_iterator(root)) {\n",
        "        if (entry.path().extension() != \".jsonl\") continue;\n",
        "// Reads the \"type\" key first; only messages need a full decode.\n",
        "    return QStringLiteral(\"<b>%1</b>\").arg(name);\n",
        "def handler(request):\n    return {\"status\": 200, 'body': b'\\x00'}\n",
        "\tmake -C build test  # tabs and ünïcödé too\n"};
    std::string s;
    while (s.size() < bytes)
        s += lines[rng() % 6];
    return s;
}

inline nlohmann::json envelope(const char* type, int n, const std::string& cwd) {
    return {{"parentUuid", "7d0e7a4c-0000-4000-8000-" + std::to_string(100000000000 + n)},
            {"isSidechain", false},
            {"userType", "external"},
            {"cwd", cwd},
            {"sessionId", "5f1c2a9e-3b4d-4e6f-8a7b-9c0d1e2f3a4b"},
            {"version", "2.1.330"},
            {"gitBranch", "main"},
            {"type", type},
            {"uuid", "a1b2c3d4-0000-4000-8000-" + std::to_string(200000000000 + n)},
            {"timestamp", "2026-11-22T03:00:00.000Z"}};
}

// One exchange: prompt, assistant text, a tool call, its (large) result, the final answer, and
// the bookkeeping lines around them.
inline std::string exchange(std::mt19937& rng, int n, const std::string& cwd) {
    using nlohmann::json;
    std::string out;
    auto add = [&](const json& j) { out += j.dump() + "\n"; };

    json prompt = envelope("user", n, cwd);
    prompt["message"] = {{"role", "user"},
                         {"content", "Please look at the scanner and fix #" + std::to_string(n) +
                                         " " + fileText(rng, 200)}};
    add(prompt);
    add({{"type", "queue-operation"}, {"operation", "dequeue"}, {"sessionId", "5f1c"}});
    add({{"type", "attachment"},
         {"cwd", cwd},
         {"attachment", {{"type", "todo"}, {"content", ""}}}});

    const std::string toolId = "toolu_" + std::to_string(n);
    json usage = {
        {"input_tokens", 1200}, {"output_tokens", 310}, {"cache_read_input_tokens", 9000}};
    json text = envelope("assistant", n, cwd);
    text["message"] = {{"id", "msg_" + std::to_string(n)},
                       {"type", "message"},
                       {"role", "assistant"},
                       {"model", "claude-sonnet-4-5"},
                       {"content", json::array({{{"type", "text"}, {"text", fileText(rng, 600)}}})},
                       {"stop_reason", "tool_use"},
                       {"usage", usage}};
    add(text);
    json call = text;
    call["message"]["content"] = json::array(
        {{{"type", "tool_use"},
          {"id", toolId},
          {"name", "Read"},
          {"input", {{"file_path", cwd + "/Hollowmere/ClaudeIntegration/SessionScanner.cpp"}}}}});
    add(call);

    const std::string contents = fileText(rng, 4000 + rng() % 12000);
    json result = envelope("user", n, cwd);
    result["message"] = {
        {"role", "user"},
        {"content",
         json::array({{{"type", "tool_result"}, {"tool_use_id", toolId}, {"content", contents}}})}};
    result["toolUseResult"] = {{"type", "text"},
                               {"file", {{"content", contents}, {"numLines", 300}}}};
    add(result);

    add({{"type", "api-request"},
         {"requestId", "req_" + std::to_string(n)},
         {"model", "claude-sonnet-4-5"}});
    // The request body repeats the conversation so far, as escaped JSON in a string.
    json body = {{"model", "claude-sonnet-4-5"},
                 {"messages", json::array({prompt["message"], text["message"], result["message"]})},
                 {"system", fileText(rng, 20000 + rng() % 60000)}};
    add({{"type", "api-request-blob"},
         {"requestId", "req_" + std::to_string(n)},
         {"body", body.dump()}});

    json answer = text;
    answer["message"]["content"] = json::array({{{"type", "text"}, {"text", fileText(rng, 800)}}});
    answer["message"]["stop_reason"] = "end_turn";
    add(answer);
    add({{"type", "system"}, {"subtype", "turn_duration"}, {"cwd", cwd}, {"durationMs", 5123}});
    add({{"type", "last-prompt"}, {"lastPrompt", "Please look at the scanner"}});
    add({{"type", "cost-state"}, {"costUSD", 0.0123}});
    return out;
}

// Writes at least `bytes` of transcript to `path`; returns the size written.
inline std::size_t write(const std::string& path, std::size_t bytes, const std::string& cwd,
                         unsigned seed = 1) {
    std::mt19937 rng(seed);
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return 0;
    std::size_t written = 0;
    for (int n = 0; written < bytes; ++n) {
        const std::string chunk = exchange(rng, n, cwd);
        std::fwrite(chunk.data(), 1, chunk.size(), f);
        written += chunk.size();
    }
    std::fclose(f);
    return written;
}

} // namespace TranscriptFixture
