// SPDX-License-Identifier: MIT
#include "HooksInstaller.h"

#include "SettingsFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace HooksInstaller {
namespace {

using nlohmann::json;
using SettingsFile::Contents;

constexpr char managedKey[] = "hollowmere-managed";
constexpr char askWhenKey[] = "hooks.askWhen";
constexpr char everyToolEvent[] = "PreToolUse";
constexpr char claudeAsksEvent[] = "PermissionRequest";
// Every event that may carry a managed entry, whatever the choice.
constexpr std::array<const char*, 4> allManagedEvents = {everyToolEvent, claudeAsksEvent,
                                                         "Notification", "Stop"};

std::vector<const char*> eventsFor(AskWhen choice) {
    return {choice == AskWhen::claudeAsks ? claudeAsksEvent : everyToolEvent, "Notification",
            "Stop"};
}

bool isOneOf(const std::vector<const char*>& events, const char* event) {
    return std::any_of(events.begin(), events.end(),
                       [&](const char* e) { return std::strcmp(e, event) == 0; });
}

// Only the JSON boolean true marks our entries; "true" or false belong to the user.
bool isManaged(const json& entry) {
    if (!entry.is_object())
        return false;
    const auto marker = entry.find(managedKey);
    return marker != entry.end() && marker->is_boolean() && marker->get<bool>();
}

bool isMatching(const json& entry, const std::string& command) {
    if (!isManaged(entry))
        return false;
    const auto hooks = entry.find("hooks");
    if (hooks == entry.end() || !hooks->is_array() || hooks->empty() || !hooks->front().is_object())
        return false;
    const auto cmd = hooks->front().find("command");
    return cmd != hooks->front().end() && cmd->is_string() && cmd->get<std::string>() == command;
}

json managedEntry(const std::string& command) {
    json hook = json::object();
    hook["type"] = "command";
    hook["command"] = command;
    json entry = json::object();
    entry[managedKey] = true;
    entry["hooks"] = json::array({hook});
    return entry;
}

// The value under `key` when it has the wanted type; otherwise an empty one of that type.
json member(const json& object, const char* key, json::value_t type) {
    const auto it = object.find(key);
    if (it != object.end() && it->type() == type)
        return *it;
    return type == json::value_t::array ? json::array() : json::object();
}

bool containsMatching(const json& list, const std::string& command) {
    return std::any_of(list.begin(), list.end(),
                       [&](const json& e) { return isMatching(e, command); });
}

bool containsManaged(const json& list) {
    return std::any_of(list.begin(), list.end(), isManaged);
}

json withoutManaged(const json& list) {
    json kept = json::array();
    for (const json& entry : list) {
        if (!isManaged(entry))
            kept.push_back(entry);
    }
    return kept;
}

using SettingsFile::Outcome;

// Logs why a write did not happen, when it did not; true when the edit is in the file.
bool written(const Outcome& done, const char* what) {
    if (done.kind == Outcome::Kind::refused || done.kind == Outcome::Kind::failed)
        qWarning("Hollowmere: %s: %s", what, qPrintable(done.text));
    return done.kind == Outcome::Kind::written;
}

bool holdsManagedEntries() {
    const Contents settings = SettingsFile::read(settingsPath());
    const json hooks = member(settings.root, "hooks", json::value_t::object);
    return std::any_of(allManagedEvents.begin(), allManagedEvents.end(), [&](const char* event) {
        return containsManaged(member(hooks, event, json::value_t::array));
    });
}

} // namespace

AskWhen askWhen() {
    const QString value = QSettings().value(QLatin1String(askWhenKey)).toString();
    return value == QLatin1String("claudeAsks") ? AskWhen::claudeAsks : AskWhen::everyTool;
}

bool setAskWhen(AskWhen choice) {
    {
        QSettings defaults;
        defaults.setValue(QLatin1String(askWhenKey), choice == AskWhen::claudeAsks
                                                         ? QStringLiteral("claudeAsks")
                                                         : QStringLiteral("everyTool"));
        defaults.sync();
    }
    if (!holdsManagedEntries())
        return true;
    const QString status = installIfNeeded();
    const bool moved = status.startsWith(QStringLiteral("installed hooks")) ||
                       status.startsWith(QStringLiteral("ok:"));
    if (!moved)
        qWarning("Hollowmere: hooks not moved: %s", qPrintable(status));
    return moved;
}

QStringList managedEventNames() {
    QStringList names;
    for (const char* event : eventsFor(askWhen()))
        names.append(QString::fromLatin1(event));
    return names;
}

QString settingsPath() {
    return QDir::homePath() + QStringLiteral("/.claude/settings.json");
}

QString backupURL() {
    QString path = settingsPath();
    path.chop(QStringLiteral("json").size());
    return path + QStringLiteral("json.hollowmere-backup");
}

std::optional<QString> hookBinaryPath() {
    QString dir;
    if (QCoreApplication::instance()) {
        dir = QCoreApplication::applicationDirPath();
    } else {
        // Before any application object exists; only the kernel knows where we were loaded from.
        const QFileInfo self(QStringLiteral("/proc/self/exe"));
        if (self.exists())
            dir = QFileInfo(self.symLinkTarget()).absolutePath();
    }
    if (dir.isEmpty())
        return std::nullopt;
    const QFileInfo hook(QDir(dir).filePath(QStringLiteral("hollowmere-hook")));
    if (!hook.isFile() || !hook.isExecutable())
        return std::nullopt;
    return hook.absoluteFilePath();
}

QString commandFor(const QString& hookPath) {
    // Claude Code runs the command through sh: a path with spaces must be quoted to run at all.
    const bool plain = std::all_of(hookPath.begin(), hookPath.end(), [](QChar c) {
        return c.isLetterOrNumber() || QStringLiteral("/._-+@%:,=").contains(c);
    });
    if (plain && !hookPath.isEmpty())
        return hookPath;
    QString quoted = hookPath;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString installIfNeeded() {
    const auto hook = hookBinaryPath();
    if (!hook)
        return QStringLiteral("skip: hollowmere-hook not found next to app binary");

    const std::string command = SettingsJson::toStored(commandFor(*hook));
    const std::vector<const char*> wanted = eventsFor(askWhen());
    auto edit = [&](const Contents& before) -> std::optional<json> {
        json root = before.root;
        json hooks = member(root, "hooks", json::value_t::object);
        bool allPresent = true;
        for (const char* event : allManagedEvents) {
            const bool managedHere = isOneOf(wanted, event);
            const auto found = hooks.find(event);
            if (found == hooks.end() || !found->is_array()) {
                allPresent = allPresent && !managedHere;
                if (managedHere)
                    hooks[event] = json::array({managedEntry(command)});
                continue;
            }
            if (!managedHere && !containsManaged(*found))
                continue; // the user's alone
            allPresent = allPresent && managedHere && containsMatching(*found, command);
            // Drop every managed entry, stale paths and the other choice's event included; the
            // user's keep their order.
            json list = withoutManaged(*found);
            if (managedHere)
                list.push_back(managedEntry(command));
            if (list.empty())
                hooks.erase(found); // only our stale entry was there
            else
                *found = std::move(list);
        }
        if (allPresent)
            return std::nullopt;
        root["hooks"] = std::move(hooks);
        return root;
    };
    const Outcome done = SettingsFile::update(
        settingsPath(), {backupURL(), /*replaceMalformed=*/true, /*keepFirstBackup=*/true}, edit);
    switch (done.kind) {
    case Outcome::Kind::written:
        return QStringLiteral("installed hooks → ") + *hook;
    case Outcome::Kind::unchanged:
        return QStringLiteral("ok: hooks already installed");
    case Outcome::Kind::refused:
    case Outcome::Kind::failed:
        break;
    }
    return QStringLiteral("failed to write settings: ") + done.text;
}

bool isInstalled() {
    const auto hook = hookBinaryPath();
    if (!hook)
        return false;
    const Contents settings = SettingsFile::read(settingsPath());
    if (!settings.parsed())
        return false;
    const auto hooks = settings.root.find("hooks");
    if (hooks == settings.root.end() || !hooks->is_object())
        return false;
    const std::string command = SettingsJson::toStored(commandFor(*hook));
    const std::vector<const char*> wanted = eventsFor(askWhen());
    return std::all_of(allManagedEvents.begin(), allManagedEvents.end(), [&](const char* event) {
        const auto list = hooks->find(event);
        const bool isList = list != hooks->end() && list->is_array();
        if (isOneOf(wanted, event))
            return isList && containsMatching(*list, command);
        return !isList || !containsManaged(*list); // a stale entry would fire as well
    });
}

bool uninstall() {
    auto edit = [](const Contents& before) -> std::optional<json> {
        json root = before.root;
        const auto found = root.find("hooks");
        if (found == root.end() || !found->is_object())
            return std::nullopt;
        json& hooks = *found;
        bool changed = false;
        for (const char* event : allManagedEvents) {
            const auto list = hooks.find(event);
            if (list == hooks.end() || !list->is_array() || !containsManaged(*list))
                continue;
            changed = true;
            json kept = withoutManaged(*list);
            if (kept.empty())
                hooks.erase(list);
            else
                *list = std::move(kept);
        }
        if (!changed)
            return std::nullopt;
        if (hooks.empty())
            root.erase("hooks");
        return root;
    };
    return written(SettingsFile::update(settingsPath(), {backupURL()}, edit),
                   "could not remove hooks");
}

bool restoreBackup() {
    const QString backup = backupURL();
    if (!QFileInfo::exists(backup))
        return false;
    const QString path = settingsPath();
    auto failed = [](const QString& why) {
        std::fprintf(stderr, "HooksInstaller.restoreBackup failed: %s\n", qPrintable(why));
        return false;
    };

    const SettingsFile::Lock lock(path);
    // The file being replaced may hold edits made since; if it does not parse, nothing else
    // would keep them.
    const Contents replaced = SettingsFile::read(path);
    if (replaced.state == Contents::State::malformed &&
        !SettingsFile::keepAside(path, replaced.bytes, backup)) {
        return failed(QStringLiteral("no copy could be made of %1").arg(path));
    }

    const QString target = SettingsFile::resolvedTarget(path);
    const QByteArray from = QFile::encodeName(backup);
    if (::rename(from.constData(), QFile::encodeName(target).constData()) == 0)
        return true;
    if (errno != EXDEV)
        return failed(QString::fromLocal8Bit(std::strerror(errno)));

    // A settings file linked onto another file system: copy the bytes, then drop the backup.
    QFile source(backup);
    if (!source.open(QIODevice::ReadOnly))
        return failed(source.errorString());
    const QByteArray bytes = source.readAll();
    if (const auto err = SettingsFile::replaceAtomically(path, bytes.toStdString()))
        return failed(*err);
    if (!QFile::remove(backup))
        qWarning("Hollowmere: restored settings but could not remove %s", qPrintable(backup));
    return true;
}

bool addAllowRule(const QString& pattern) {
    const json wanted = SettingsJson::toStored(pattern);
    auto edit = [&](const Contents& before) -> std::optional<json> {
        json root = before.root;
        json permissions = member(root, "permissions", json::value_t::object);
        json allow = member(permissions, "allow", json::value_t::array);
        if (std::find(allow.begin(), allow.end(), wanted) != allow.end())
            return std::nullopt;
        allow.push_back(wanted);
        permissions["allow"] = std::move(allow);
        root["permissions"] = std::move(permissions);
        return root;
    };
    const Outcome done = SettingsFile::update(settingsPath(), {backupURL()}, edit);
    written(done, "could not add an allow rule");
    // A write that failed still counts as added: the caller's in-memory list holds the rule.
    return done.kind == Outcome::Kind::written || done.kind == Outcome::Kind::failed;
}

bool removeAllowRule(const QString& pattern) {
    const json unwanted = SettingsJson::toStored(pattern);
    auto edit = [&](const Contents& before) -> std::optional<json> {
        json root = before.root;
        json permissions = member(root, "permissions", json::value_t::object);
        json allow = member(permissions, "allow", json::value_t::array);
        const auto first = std::find(allow.begin(), allow.end(), unwanted);
        if (first == allow.end())
            return std::nullopt;
        allow.erase(first);
        permissions["allow"] = std::move(allow);
        root["permissions"] = std::move(permissions);
        return root;
    };
    return written(SettingsFile::update(settingsPath(), {backupURL()}, edit),
                   "could not remove an allow rule");
}

QStringList currentAllowPatterns() {
    const Contents settings = SettingsFile::read(settingsPath());
    const json permissions = member(settings.root, "permissions", json::value_t::object);
    QStringList patterns;
    for (const json& rule : member(permissions, "allow", json::value_t::array)) {
        if (rule.is_string())
            patterns.append(SettingsJson::fromStored(rule.get<std::string>()));
    }
    return patterns;
}

std::optional<QString> settingsFileProblem() {
    const QString path = settingsPath();
    const Contents settings = SettingsFile::read(path);
    if (auto why = SettingsFile::refusal(path, settings))
        return why;
    if (settings.state == Contents::State::malformed) {
        return QStringLiteral("%1 does not parse as a JSON object; allow rules cannot be changed "
                              "until it is fixed, and installing the hooks keeps a copy of it "
                              "before replacing it")
            .arg(path);
    }
    if (!SettingsFile::rewrite(settings, settings.root))
        return SettingsFile::tooLargeText(path, settings);
    return std::nullopt;
}

} // namespace HooksInstaller
