// SPDX-License-Identifier: MIT
#include "Notch/PromptCardRules.h"

#include "Notch/NotchPalette.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTextBoundaryFinder>

namespace PromptCardRules {

namespace {

QString str(const std::optional<std::string>& s) {
    return s ? QString::fromStdString(*s) : QString();
}

std::optional<QString> stringAt(const QJsonObject& o, const char* key) {
    const QJsonValue v = o.value(QLatin1String(key));
    if (!v.isString())
        return std::nullopt;
    return v.toString();
}

// `path` with `dir` taken off its front, when `path` is `dir` or lies below it.
std::optional<QString> below(const QString& path, QString dir) {
    if (dir.isEmpty())
        return std::nullopt;
    if (dir.size() > 1 && dir.endsWith(QLatin1Char('/')))
        dir.chop(1);
    if (path == dir)
        return QString();
    const QString prefix = dir.endsWith(QLatin1Char('/')) ? dir : dir + QLatin1Char('/');
    if (!path.startsWith(prefix))
        return std::nullopt;
    return path.mid(prefix.size());
}

// At most `count` user-perceived characters, so an emoji or an accent is never cut in half.
QString leftCharacters(const QString& text, int count, bool* cut) {
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    int seen = 0;
    while (graphemes.toNextBoundary() >= 0) {
        if (++seen == count) {
            const qsizetype end = graphemes.position();
            *cut = end < text.size();
            return text.left(end);
        }
    }
    *cut = false;
    return text;
}

DiffLine note(int hidden) {
    return {0, QString(), NotchPalette::dimText(),
            QStringLiteral("… %1 more line%2").arg(hidden).arg(hidden == 1 ? "" : "s"),
            std::nullopt};
}

void appendLines(std::vector<DiffLine>& out, const QString& text, const QString& marker,
                 const QColor& color, std::optional<QColor> tint) {
    const QStringList lines = lineList(text);
    const int shown = int(std::min<qsizetype>(lines.size(), maxLinesPerSide));
    for (int i = 0; i < shown; ++i)
        out.push_back({i + 1, marker, color, lines[i], tint});
    if (lines.size() > shown)
        out.push_back(note(int(lines.size() - shown)));
}

void appendDiff(std::vector<DiffLine>& out, const QString& oldText, const QString& newText) {
    // The minus sign, not a hyphen: it lines up with "+" and reads as removal.
    appendLines(out, oldText, QString(QChar(0x2212)), NotchPalette::red(), NotchPalette::red());
    appendLines(out, newText, QStringLiteral("+"), NotchPalette::green(), NotchPalette::green());
}

} // namespace

QJsonObject parseToolInput(const std::optional<std::string>& toolInput) {
    if (!toolInput)
        return {};
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(*toolInput));
    return doc.isObject() ? doc.object() : QJsonObject();
}

std::optional<QString> filePath(const QJsonObject& input) {
    return stringAt(input, "file_path");
}

QString shortPath(const QString& path, const QString& cwd, const QString& home) {
    if (const auto inside = below(path, cwd))
        return inside->isEmpty() ? QStringLiteral(".") : *inside;
    if (const auto underHome = below(path, home))
        return underHome->isEmpty() ? QStringLiteral("~") : QStringLiteral("~/") + *underHome;
    return path;
}

QString firstLine(const QString& text) {
    const qsizetype feed = text.indexOf(QLatin1Char('\n'));
    return feed < 0 ? text : text.left(feed);
}

QStringList lineList(const QString& text) {
    if (text.isEmpty())
        return {};
    return text.split(QLatin1Char('\n'));
}

QString actionDescriptor(const QString& tool, const QJsonObject& input, const Context& context) {
    const auto path = filePath(input);
    if (tool == QLatin1String("Edit") || tool == QLatin1String("MultiEdit") ||
        tool == QLatin1String("Write"))
        return path ? shortPath(*path, context.cwd, context.home) : tool.toLower();
    if (tool == QLatin1String("Bash")) {
        auto command = stringAt(input, "command");
        if (!command)
            return QStringLiteral("shell");
        command->replace(QLatin1String("\r\n"), QLatin1String(" "));
        command->replace(QLatin1Char('\n'), QLatin1Char(' '));
        command->replace(QLatin1Char('\r'), QLatin1Char(' '));
        bool cut = false;
        const QString shown = leftCharacters(*command, 40, &cut);
        return cut ? shown + QChar(0x2026) : shown;
    }
    if (tool == QLatin1String("Read"))
        return path ? QStringLiteral("read ") + shortPath(*path, context.cwd, context.home)
                    : QStringLiteral("read");
    return tool.toLower();
}

bool hasDiffContent(const QString& tool, const QJsonObject& input) {
    if (tool == QLatin1String("Write"))
        return stringAt(input, "content").has_value();
    if (stringAt(input, "old_string") && stringAt(input, "new_string"))
        return true;
    // MultiEdit carries its changes as a list of edits.
    if (tool == QLatin1String("MultiEdit"))
        for (const QJsonValue& edit : input.value(QLatin1String("edits")).toArray())
            if (edit.toObject().value(QLatin1String("old_string")).isString() &&
                edit.toObject().value(QLatin1String("new_string")).isString())
                return true;
    return false;
}

QStringList askQuestionOptions(const QJsonObject& input) {
    QStringList labels;
    const QJsonArray questions = input.value(QLatin1String("questions")).toArray();
    if (questions.isEmpty())
        return labels;
    for (const QJsonValue& option :
         questions.first().toObject().value(QLatin1String("options")).toArray())
        if (const auto label = stringAt(option.toObject(), "label"))
            labels << *label;
    return labels;
}

QString headerTitle(const HookEvent& event) {
    switch (event.kind) {
    case HookEvent::Kind::permissionRequest:
        return QStringLiteral("Permission requested");
    case HookEvent::Kind::notification:
        return event.message ? firstLine(str(event.message)) : QStringLiteral("Notification");
    case HookEvent::Kind::stop:
        return QStringLiteral("Done");
    }
    return {};
}

QString headerSubtitle(const HookEvent& event, const Context& context) {
    QStringList parts{QStringLiteral("Claude")};
    if (context.lastModel)
        parts << *context.lastModel;
    if (context.pendingCount >= 2) {
        parts << QString::number(context.pendingCount) + QStringLiteral(" actions pending");
    } else if (event.tool) {
        const QString tool = str(event.tool);
        const bool ownName = (event.kind == HookEvent::Kind::notification &&
                              tool == QLatin1String("notification")) ||
                             (event.kind == HookEvent::Kind::stop && tool == QLatin1String("stop"));
        if (!ownName)
            parts << actionDescriptor(tool, parseToolInput(event.toolInput), context);
    }
    return parts.join(QStringLiteral(" · "));
}

Body body(const HookEvent& event, const Context& context) {
    Body b;
    const QString tool = str(event.tool);
    const QJsonObject input = parseToolInput(event.toolInput);
    const auto path = filePath(input);
    const QString shortFile = path ? shortPath(*path, context.cwd, context.home) : QString();

    if (event.kind != HookEvent::Kind::permissionRequest) {
        b.kind = BodyKind::message;
        b.message = str(event.message);
    } else if (tool == QLatin1String("AskUserQuestion")) {
        b.kind = BodyKind::question;
        b.message = str(event.message);
        b.options = askQuestionOptions(input);
    } else if ((tool == QLatin1String("Edit") || tool == QLatin1String("MultiEdit")) &&
               hasDiffContent(tool, input)) {
        b.kind = BodyKind::diff;
        b.path = shortFile;
        if (const auto oldText = stringAt(input, "old_string")) {
            if (const auto newText = stringAt(input, "new_string"))
                appendDiff(b.lines, *oldText, *newText);
        }
        for (const QJsonValue& value : input.value(QLatin1String("edits")).toArray()) {
            const QJsonObject edit = value.toObject();
            const auto oldText = stringAt(edit, "old_string");
            const auto newText = stringAt(edit, "new_string");
            if (oldText && newText)
                appendDiff(b.lines, *oldText, *newText);
        }
    } else if (tool == QLatin1String("Write") && hasDiffContent(tool, input)) {
        b.kind = BodyKind::write;
        b.path = shortFile;
        appendLines(b.lines, *stringAt(input, "content"), QStringLiteral("+"),
                    NotchPalette::green(), NotchPalette::green());
    } else if (tool == QLatin1String("Bash")) {
        const auto command = stringAt(input, "command");
        if (command && !command->isEmpty()) {
            b.kind = BodyKind::bash;
            appendLines(b.lines, *command, QStringLiteral("$"), NotchPalette::accent(),
                        std::nullopt);
            b.description = stringAt(input, "description").value_or(QString());
        }
    } else if (path) {
        b.kind = BodyKind::path;
        b.path = shortFile;
    }
    // A question's suggestions are its options, already listed.
    if (b.kind != BodyKind::question && event.suggestions)
        for (const std::string& s : *event.suggestions)
            b.chips << QString::fromStdString(s);
    return b;
}

bool hasBody(const Body& body) {
    switch (body.kind) {
    case BodyKind::none:
        return !body.chips.isEmpty();
    case BodyKind::message:
        return !body.message.isEmpty() || !body.chips.isEmpty();
    default:
        return true;
    }
}

QString KeyShortcut::displayLabel(bool mac) const {
    static const std::pair<Modifier, const char*> order[] = {
        {option, "⌥"}, {shift, "⇧"}, {control, "⌃"}, {command, "⌘"}};
    static const std::pair<Modifier, const char*> names[] = {
        {option, "Alt+"}, {shift, "Shift+"}, {control, "Ctrl+"}, {command, "Super+"}};
    QString label;
    for (const auto& [modifier, text] : mac ? order : names)
        if (modifiers & modifier)
            label += QString::fromUtf8(text);
    return label + key.toUpper();
}

QString KeyShortcut::sequence() const {
    // Qt's portable names: Alt is Option on a Mac, Ctrl is Command there and Meta is Control.
    QString text;
    if (modifiers & control)
        text += QStringLiteral("Meta+");
    if (modifiers & command)
        text += QStringLiteral("Ctrl+");
    if (modifiers & option)
        text += QStringLiteral("Alt+");
    if (modifiers & shift)
        text += QStringLiteral("Shift+");
    return text + key.toUpper();
}

std::vector<ActionButton> actions(const HookEvent& event) {
    const auto key = [](char c, int modifiers = 0) {
        return std::optional<KeyShortcut>(KeyShortcut{QChar::fromLatin1(c), modifiers});
    };
    if (event.kind == HookEvent::Kind::permissionRequest) {
        if (event.tool && *event.tool == "AskUserQuestion")
            // The options are the answers; denying is the way out, not the main act.
            return {{QStringLiteral("Deny"), false, key('d'), Action::deny}};
        return {{QStringLiteral("Approve"), true, key('a'), Action::approve},
                {QStringLiteral("Deny"), false, key('d'), Action::deny},
                {QStringLiteral("Always"), false, key('a', KeyShortcut::option), Action::always}};
    }
    return {{QStringLiteral("Jump"), true, key('j'), Action::jump},
            {QStringLiteral("Dismiss"), false, key('d'), Action::dismiss}};
}

HookDecision decision(Action action) {
    switch (action) {
    case Action::approve:
    case Action::always:
        return {HookDecision::Decision::approve, std::nullopt, std::nullopt};
    case Action::deny:
        return {HookDecision::Decision::deny, "User denied", std::nullopt};
    case Action::jump:
    case Action::dismiss:
        break;
    }
    return {HookDecision::Decision::passthrough, std::nullopt, std::nullopt};
}

HookDecision optionDecision(const QString& label) {
    return {HookDecision::Decision::approve, std::nullopt, label.toStdString()};
}

QString chipKeystrokes(const QString& text) {
    return text + QStringLiteral("\\r");
}

HookDecision chipDecision(const QString& text) {
    return {HookDecision::Decision::passthrough, std::nullopt, text.toStdString()};
}

} // namespace PromptCardRules
