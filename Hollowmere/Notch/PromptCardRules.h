// SPDX-License-Identifier: MIT
// What the prompt card shows for one pending hook event, as plain values: header texts, the body
// (command, diff, file, question or message), and the buttons with their keys and answers. No Qt
// Quick here; PromptCardModel hands these to the view.
#pragma once

#include "Protocol.h"

#include <QColor>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace PromptCardRules {

// Where the texts are read: the session's directory and the user's home shorten paths.
struct Context {
    QString cwd;
    QString home;
    std::optional<QString> lastModel;
    int pendingCount = 1;
};

// The tool input as a JSON object; anything else (absent, invalid, an array) is empty.
QJsonObject parseToolInput(const std::optional<std::string>& toolInput);
// "file_path" when it is a string.
std::optional<QString> filePath(const QJsonObject& input);
// Relative to `cwd` ("." for the directory itself), else "~/..." under `home`, else unchanged.
// Only whole path components count: "/work/ab" is not inside "/work/a".
QString shortPath(const QString& path, const QString& cwd, const QString& home);
QString firstLine(const QString& text);
// Split at every line feed, empty lines kept; an empty text has no lines.
QStringList lineList(const QString& text);
// What a tool is about to do, in a few words ("npm test", "src/a.cpp", "read ~/x").
QString actionDescriptor(const QString& tool, const QJsonObject& input, const Context& context);
bool hasDiffContent(const QString& tool, const QJsonObject& input);
// The option labels of the first question of an AskUserQuestion input.
QStringList askQuestionOptions(const QJsonObject& input);

QString headerTitle(const HookEvent& event);
QString headerSubtitle(const HookEvent& event, const Context& context);

// One line of a code block.
struct DiffLine {
    int lineNumber = 0; // 0: a note, not a line of the content
    QString marker;
    QColor markerColor;
    QString text;
    std::optional<QColor> backgroundTint;

    bool operator==(const DiffLine&) const = default;
};

enum class BodyKind { none, message, question, diff, write, bash, path };

struct Body {
    BodyKind kind = BodyKind::none;
    QString message; // notification or stop text; the question's message
    QString path;    // short file path above a diff, a written file or on its own
    std::vector<DiffLine> lines;
    QString description; // a Bash command's "description"
    QStringList options; // a question's option labels
    QStringList chips;   // suggestions the user may send to the terminal
};

// Lines shown per side of a diff (and of a command or written file) before a note says how
// many more there are; the block scrolls within that.
inline constexpr int maxLinesPerSide = 400;

Body body(const HookEvent& event, const Context& context);
// Whether the card shows a body at all.
bool hasBody(const Body& body);

// A key and its modifiers, as on a Mac keyboard.
struct KeyShortcut {
    enum Modifier { option = 1, shift = 2, control = 4, command = 8 };
    QChar key;
    int modifiers = 0;

    // "⌥A" on macOS; "Alt+A" elsewhere, where the keyboard names the keys.
    QString displayLabel(bool mac) const;
    // The key sequence Qt understands on the running platform ("Alt+A").
    QString sequence() const;
    bool operator==(const KeyShortcut&) const = default;
};

enum class Action { approve, deny, always, jump, dismiss };

struct ActionButton {
    QString label;
    bool primary = false;
    std::optional<KeyShortcut> shortcut;
    Action action = Action::dismiss;
};

std::vector<ActionButton> actions(const HookEvent& event);

// The answer each action gives the hook; `always` and `jump` do more first (PromptCardModel).
HookDecision decision(Action action);
// Choosing a question's option answers it in Claude Code through the hook.
HookDecision optionDecision(const QString& label);
// A suggestion chip is typed into the terminal, then the hook is left to Claude Code's own flow.
HookDecision chipDecision(const QString& text);
// What a chip types: its text and the two characters "\r", which the terminal service turns
// into the Return that ends the line.
QString chipKeystrokes(const QString& text);

} // namespace PromptCardRules
