// SPDX-License-Identifier: MIT
#include "AllowRules.h"

#include "ClaudeIntegration/SettingsFile.h"
#include "ShellCommand.h"

#include <nlohmann/json.hpp>

#include <algorithm>

using nlohmann::json;

namespace AllowRules {

namespace {
const QString bashTool = QStringLiteral("Bash");
const QString programRuleEnd = QStringLiteral(":*)");
} // namespace

std::optional<QStringList> bashPrograms(const HookEvent& event) {
    if (event.tool != bashTool.toStdString() || !event.toolInput)
        return std::nullopt;
    json input = json::parse(*event.toolInput, nullptr, /*allow_exceptions=*/false);
    if (!input.is_object())
        return std::nullopt;
    auto command = input.find("command");
    if (command == input.end() || !command->is_string())
        return std::nullopt;
    return ShellCommand::programs(QString::fromStdString(command->get<std::string>()));
}

bool matches(const QStringList& patterns, const HookEvent& event) {
    if (!event.tool)
        return false;
    const QString tool = QString::fromStdString(*event.tool);
    if (patterns.contains(tool))
        return true; // the bare tool rule: everything, as the user asked
    if (tool != bashTool)
        return false;
    const QString ruleStart = tool + u'(';
    QStringList allowed;
    for (const QString& rule : patterns) {
        if (rule.startsWith(ruleStart) && rule.endsWith(programRuleEnd) &&
            rule.size() >= ruleStart.size() + programRuleEnd.size()) {
            allowed << rule.mid(ruleStart.size(),
                                rule.size() - ruleStart.size() - programRuleEnd.size());
        }
    }
    if (allowed.isEmpty())
        return false;
    const auto programs = bashPrograms(event);
    return programs && std::all_of(programs->begin(), programs->end(),
                                   [&](const QString& p) { return allowed.contains(p); });
}

std::optional<QString> patternFor(const HookEvent& event) {
    // A rule is only made for one simple command: it would never cover a compound one.
    const auto programs = bashPrograms(event);
    if (!programs || programs->size() != 1)
        return std::nullopt;
    return bashTool + u'(' + programs->first() + programRuleEnd;
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
