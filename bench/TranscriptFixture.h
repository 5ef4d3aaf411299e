// SPDX-License-Identifier: MIT
// Transcripts shaped like the ones Claude Code 2.1.330 writes (observed on real sessions): message
// lines with their bookkeeping fields, tool results carrying file contents twice, and the large
// lines that are not messages (attachments with prompt snapshots, api-request-shape/-blob).
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
    nlohmann::json e = nlohmann::json::parse(R"({"isSidechain": false, "userType": "external",
        "timestamp": "2026-11-22T03:00:00.000Z", "entrypoint": "cli", "version": "2.1.330",
        "sessionId": "5f1c2a9e-3b4d-4e6f-8a7b-9c0d1e2f3a4b", "gitBranch": "main"})");
    e["parentUuid"] = "7d0e7a4c-0000-4000-8000-" + std::to_string(100000000000 + n);
    e["uuid"] = "a1b2c3d4-0000-4000-8000-" + std::to_string(200000000000 + n);
    e["type"] = type;
    e["cwd"] = cwd;
    return e;
}

inline nlohmann::json assistantMessage(int n, nlohmann::json content, const char* stop) {
    nlohmann::json m = nlohmann::json::parse(R"({"type": "message", "role": "assistant",
        "model": "claude-sonnet-4-5-20250929", "stop_sequence": null, "usage": {
        "input_tokens": 1200, "output_tokens": 310, "cache_read_input_tokens": 9000,
        "server_tool_use": {"web_search_requests": 0, "web_fetch_requests": 0},
        "service_tier": "standard"}})");
    m["id"] = "msg_" + std::to_string(n);
    m["content"] = std::move(content);
    m["stop_reason"] = stop;
    return m;
}

// Tool definitions as the request shape lists them: nested objects full of "type" keys.
inline nlohmann::json requestShape(std::mt19937& rng) {
    static const nlohmann::json schema = nlohmann::json::parse(R"({"type": "object",
        "properties": {"command": {"type": "string", "description": "what to run"},
        "timeout": {"type": "number"}}, "required": ["command"]})");
    nlohmann::json tools = nlohmann::json::array();
    for (const char* name : {"Bash", "Edit", "Write", "Read", "Glob", "Grep", "WebFetch",
                             "TaskCreate", "AskUserQuestion", "NotebookEdit"})
        tools.push_back(
            {{"name", name}, {"description", fileText(rng, 6000)}, {"input_schema", schema}});
    return {
        {"type", "api-request-shape"},
        {"sessionId", "5f1c2a9e-3b4d-4e6f-8a7b-9c0d1e2f3a4b"},
        {"shape",
         {{"system", nlohmann::json::array({{{"type", "text"}, {"text", fileText(rng, 20000)}}})},
          {"tools", tools}}}};
}

// One exchange as Claude Code 2.1.330 writes it: prompt, attachments (among them a snapshot of
// the system prompt), the request's shape and blob lines, assistant text and tool call, the
// tool result (its content twice: in the message and in toolUseResult), the final answer, and
// the bookkeeping lines around them. `onlyMessages` keeps the user and assistant lines alone.
inline std::string exchange(std::mt19937& rng, int n, const std::string& cwd,
                            bool onlyMessages = false) {
    using nlohmann::json;
    std::string out;
    auto add = [&](const json& j) {
        if (!onlyMessages || j["type"] == "user" || j["type"] == "assistant")
            out += j.dump() + "\n";
    };
    auto attachment = [&](json body) {
        json a = envelope("attachment", n, cwd);
        a["attachment"] = std::move(body);
        add(a);
    };
    auto assistant = [&](json content, const char* stop) {
        json a = envelope("assistant", n, cwd);
        a["message"] = assistantMessage(n, json::array({std::move(content)}), stop);
        add(a);
    };
    auto blob = [&](const std::string& hash, const json& message) {
        add({{"type", "api-request-blob"},
             {"sessionId", "5f1c"},
             {"hash", hash},
             {"message", message}});
    };

    json prompt = envelope("user", n, cwd);
    prompt["message"] = {{"role", "user"},
                         {"content", "Please look at the scanner and fix #" + std::to_string(n) +
                                         " " + fileText(rng, 200)}};
    add(prompt);
    attachment({{"type", "date"}, {"date", "2026-11-22"}});
    attachment(
        {{"type", "total_tokens_reminder"}, {"text", "<total_tokens>1500 left</total_tokens>"}});
    attachment({{"type", "prompt_snapshot"},
                {"systemPrompt", json::array({fileText(rng, 15000), fileText(rng, 15000)})}});
    if (n % 20 == 0)
        add(requestShape(rng));
    blob(std::to_string(n), prompt["message"]);
    add({{"type", "api-request"},
         {"id", "req_" + std::to_string(n)},
         {"params", {{"model", "claude-sonnet-4-5-20250929"}, {"max_tokens", 32000}}}});

    const std::string toolId = "toolu_" + std::to_string(n);
    assistant({{"type", "text"}, {"text", fileText(rng, 600)}}, "tool_use");
    assistant({{"type", "tool_use"},
               {"id", toolId},
               {"name", "Read"},
               {"input", {{"file_path", cwd + "/Hollowmere/SessionScanner.cpp"}}}},
              "tool_use");

    const std::string contents = fileText(rng, 4000 + rng() % 12000);
    json result = envelope("user", n, cwd);
    result["message"] = {{"role", "user"},
                         {"content", json::array({{{"tool_use_id", toolId},
                                                   {"type", "tool_result"},
                                                   {"content", contents},
                                                   {"is_error", false}}})}};
    result["toolUseResult"] = {{"type", "text"},
                               {"file", {{"content", contents}, {"numLines", 300}}}};
    add(result);
    attachment({{"type", "prompt_snapshot"},
                {"systemPrompt", json::array({fileText(rng, 30000), fileText(rng, 30000)})}});
    blob(toolId, result["message"]);

    assistant({{"type", "text"}, {"text", fileText(rng, 800)}}, "end_turn");
    json system = envelope("system", n, cwd);
    system["subtype"] = "turn_duration";
    system["durationMs"] = 5123;
    add(system);
    add({{"type", "last-prompt"}, {"lastPrompt", "Please look at the scanner"}});
    add({{"type", "permission-mode"}, {"permissionMode", "default"}});
    add({{"type", "cost-state"}, {"costUSD", 0.0123}});
    return out;
}

// Only what a message-heavy session writes: prompts, answers and large tool results, without the
// request bookkeeping. Every line needs a full decode; this is the reader's worst realistic case.
inline std::string messagesOnly(std::mt19937& rng, int n, const std::string& cwd) {
    return exchange(rng, n, cwd, true);
}

// Writes at least `bytes` of transcript to `path`; returns the size written.
inline std::size_t write(const std::string& path, std::size_t bytes, const std::string& cwd,
                         unsigned seed = 1, bool onlyMessages = false) {
    std::mt19937 rng(seed);
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return 0;
    std::size_t written = 0;
    for (int n = 0; written < bytes; ++n) {
        const std::string chunk = exchange(rng, n, cwd, onlyMessages);
        std::fwrite(chunk.data(), 1, chunk.size(), f);
        written += chunk.size();
    }
    std::fclose(f);
    return written;
}

} // namespace TranscriptFixture
