// SPDX-License-Identifier: MIT
// One hook event of each kind the prompt card shows, in a session of a made-up project, for the
// pictures of `make demo` and the tests that look at the rendered card.
#pragma once

#include "Sessions/Session.h"

#include <QDir>
#include <QUuid>

#include <vector>

namespace PromptCardSamples {

struct Sample {
    const char* name; // picture file stem
    Session session;
    PendingPrompt prompt;
};

inline Session session(const QString& id) {
    Session s;
    s.sessionId = id;
    s.cwd = QDir::homePath() + QStringLiteral("/src/lighthouse");
    s.status = Status::working();
    s.lastModel = QStringLiteral("claude-sonnet-4-5");
    s.lastTerminalBundleId = QStringLiteral("org.gnome.Terminal");
    return s;
}

inline HookEvent event(HookEvent::Kind kind, const Session& s, double timestamp,
                       std::optional<std::string> tool, std::optional<std::string> input = {},
                       std::optional<std::string> message = {}) {
    HookEvent e;
    e.kind = kind;
    e.sessionId = s.sessionId.toStdString();
    e.cwd = s.cwd.toStdString();
    e.timestamp = timestamp;
    e.tool = std::move(tool);
    e.toolInput = std::move(input);
    e.message = std::move(message);
    return e;
}

// `now` in wire seconds; the events are a few seconds old.
inline std::vector<Sample> all(double now) {
    using K = HookEvent::Kind;
    const Session s = session(QStringLiteral("5f1c0d2e-demo"));
    const std::string file = (s.cwd + QStringLiteral("/src/beam.rs")).toStdString();
    std::vector<Sample> samples;
    const auto add = [&](const char* name, HookEvent e) {
        samples.push_back({name, s, {QUuid::createUuid(), std::move(e), nullptr}});
    };
    add("bash",
        event(K::permissionRequest, s, now - 4, "Bash",
              R"({"command":"cargo test --workspace -- --test-threads=2\ngit status --short",)"
              R"("description":"Run the tests, then show what changed"})"));
    add("edit",
        event(K::permissionRequest, s, now - 12, "Edit",
              R"({"file_path":")" + file +
                  R"(","old_string":"fn sweep(angle: f32) {\n    rotate(angle);\n}",)"
                  R"("new_string":"fn sweep(angle: f32) {\n    rotate(angle * SPEED);\n    )"
                  R"(glow();\n}"})"));
    add("write", event(K::permissionRequest, s, now - 30, "Write",
                       R"({"file_path":")" + (s.cwd + "/NOTES.md").toStdString() +
                           R"(","content":"# Lighthouse\n\nThe beam sweeps once every 4 s.\n)"
                           R"(Run `cargo test` before pushing."})"));
    HookEvent question = event(K::permissionRequest, s, now - 2, "AskUserQuestion",
                               R"({"questions":[{"question":"Which beam colour should the )"
                               R"(default theme use?","header":"Colour","multiSelect":false,)"
                               R"("options":[{"label":"Warm white","description":"Classic"},)"
                               R"({"label":"Amber","description":"Easy on the eyes"},)"
                               R"({"label":"Sea green","description":"Matches the logo"}]}]})",
                               "Which beam colour should the default theme use?");
    question.suggestions = std::vector<std::string>{"Warm white", "Amber", "Sea green"};
    add("question", question);
    HookEvent note = event(K::notification, s, now - 75, "notification", std::nullopt,
                           "Claude is waiting for your input\nThe build finished with warnings.");
    note.suggestions = std::vector<std::string>{"Fix the warnings", "Ignore them", "Show me"};
    add("notification", note);
    add("stop", event(K::stop, s, now - 1, "stop", std::nullopt,
                      "Tests pass. The beam now sweeps at the configured speed."));
    return samples;
}

} // namespace PromptCardSamples
