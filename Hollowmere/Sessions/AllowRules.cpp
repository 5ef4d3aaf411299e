// SPDX-License-Identifier: MIT
#include "AllowRules.h"

#include "ClaudeIntegration/SettingsFile.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace AllowRules {

namespace {
const QString bashTool = QStringLiteral("Bash");
const QString programRuleEnd = QStringLiteral(":*)");
} // namespace

std::optional<QString> bashProgram(const HookEvent& event) {
    if (event.tool != bashTool.toStdString() || !event.toolInput)
        return std::nullopt;
    json input = json::parse(*event.toolInput, nullptr, /*allow_exceptions=*/false);
    if (!input.is_object())
        return std::nullopt;
    auto command = input.find("command");
    if (command == input.end() || !command->is_string())
        return std::nullopt;
    // Only the space character separates words here; tabs stay part of a word, as in Claude
    // Code's own prefix rules.
    const QStringList words =
        QString::fromStdString(command->get<std::string>()).split(u' ', Qt::SkipEmptyParts);
    if (words.isEmpty())
        return std::nullopt;
    return words.first();
}

bool matches(const QStringList& patterns, const HookEvent& event) {
    if (!event.tool)
        return false;
    const QString tool = QString::fromStdString(*event.tool);
    const QString ruleStart = tool + u'(';
    std::optional<std::optional<QString>> program; // computed once, on demand
    for (const QString& rule : patterns) {
        if (rule == tool)
            return true;
        if (tool != bashTool || !rule.startsWith(ruleStart) || !rule.endsWith(programRuleEnd) ||
            rule.size() < ruleStart.size() + programRuleEnd.size())
            continue;
        if (!program)
            program = bashProgram(event);
        const QString ruleProgram =
            rule.mid(ruleStart.size(), rule.size() - ruleStart.size() - programRuleEnd.size());
        if (*program && **program == ruleProgram)
            return true;
    }
    return false;
}

std::optional<QString> patternFor(const HookEvent& event) {
    auto program = bashProgram(event);
    if (!program)
        return std::nullopt;
    return bashTool + u'(' + *program + programRuleEnd;
}

QStringList readFromSettings(const QString& settingsPath) {
    const SettingsFile::Contents settings = SettingsFile::read(settingsPath);
    auto permissions = settings.root.find("permissions");
    if (permissions == settings.root.end() || !permissions->is_object())
        return {};
    auto allow = permissions->find("allow");
    if (allow == permissions->end() || !allow->is_array())
        return {};
    QStringList patterns;
    for (const json& rule : *allow) {
        if (!rule.is_string())
            return {}; // a mixed array is not an array of strings
        patterns << SettingsJson::fromStored(rule.get<std::string>());
    }
    return patterns;
}

} // namespace AllowRules
