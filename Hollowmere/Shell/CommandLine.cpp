// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include "ClaudeIntegration/HooksInstaller.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace CommandLine {
namespace {

// The words of `hooks ask-when`, in the order of the choices.
const QString everyToolWord = QStringLiteral("every-tool");
const QString claudeAsksWord = QStringLiteral("claude-asks");

QString wordFor(HooksInstaller::AskWhen choice) {
    return choice == HooksInstaller::AskWhen::claudeAsks ? claudeAsksWord : everyToolWord;
}

int askWhen(const QStringList& args, QTextStream& out) {
    if (args.size() == 2) {
        out << wordFor(HooksInstaller::askWhen()) << Qt::endl;
        return 0;
    }
    const auto choice = args.at(2) == claudeAsksWord ? HooksInstaller::AskWhen::claudeAsks
                                                     : HooksInstaller::AskWhen::everyTool;
    if (!HooksInstaller::setAskWhen(choice)) {
        out << "ask when: " << wordFor(choice) << "; the hooks in "
            << HooksInstaller::settingsPath() << " could not be moved" << Qt::endl;
        return 1;
    }
    out << "ask when: " << wordFor(choice) << Qt::endl;
    return 0;
}

int hooks(const QString& verb, QTextStream& out) {
    if (verb == QLatin1String("install")) {
        const QString status = HooksInstaller::installIfNeeded();
        out << status << Qt::endl;
        const bool done = status.startsWith(QStringLiteral("installed hooks")) ||
                          status.startsWith(QStringLiteral("ok:"));
        return done ? 0 : 1;
    }
    if (verb == QLatin1String("uninstall")) {
        if (HooksInstaller::uninstall()) {
            out << "removed Hollowmere's hooks from " << HooksInstaller::settingsPath() << Qt::endl;
            return 0;
        }
        out << "no Hollowmere hooks removed from " << HooksInstaller::settingsPath() << Qt::endl;
        return 1;
    }
    if (verb == QLatin1String("status")) {
        const auto hook = HooksInstaller::hookBinaryPath();
        if (!hook) {
            out << "not installed: hollowmere-hook not found next to app binary" << Qt::endl;
            return 1;
        }
        if (HooksInstaller::isInstalled()) {
            out << "installed: " << *hook << Qt::endl;
            return 0;
        }
        out << "not installed" << Qt::endl;
        return 1;
    }
    // restore
    const QString backup = HooksInstaller::backupURL();
    if (!QFileInfo::exists(backup)) {
        out << "no backup at " << backup << Qt::endl;
        return 1;
    }
    if (HooksInstaller::restoreBackup()) {
        out << "restored " << HooksInstaller::settingsPath() << " from the backup" << Qt::endl;
        return 0;
    }
    out << "backup not restored" << Qt::endl;
    return 1;
}

int rules(const QStringList& args, QTextStream& out) {
    const QString& verb = args.at(0);
    if (verb == QLatin1String("list")) {
        for (const QString& pattern : HooksInstaller::currentAllowPatterns())
            out << pattern << Qt::endl;
        return 0;
    }
    const QString& pattern = args.at(1);
    if (verb == QLatin1String("add")) {
        // addAllowRule also says yes when the write itself failed; trust only the file.
        if (HooksInstaller::addAllowRule(pattern) &&
            HooksInstaller::currentAllowPatterns().contains(pattern)) {
            out << "allowed: " << pattern << Qt::endl;
            return 0;
        }
        const bool present = HooksInstaller::currentAllowPatterns().contains(pattern);
        out << (present ? "already allowed: " : "not added: ") << pattern << Qt::endl;
        return 1;
    }
    if (HooksInstaller::removeAllowRule(pattern)) {
        out << "removed: " << pattern << Qt::endl;
        return 0;
    }
    out << "not removed: " << pattern << Qt::endl;
    return 1;
}

bool isHooksCommand(const QStringList& args) {
    static const QStringList verbs = {"install", "uninstall", "status", "restore"};
    return args.size() == 2 && args.at(0) == QLatin1String("hooks") && verbs.contains(args.at(1));
}

bool isAskWhenCommand(const QStringList& args) {
    if (args.size() < 2 || args.size() > 3 || args.at(0) != QLatin1String("hooks") ||
        args.at(1) != QLatin1String("ask-when"))
        return false;
    return args.size() == 2 || args.at(2) == everyToolWord || args.at(2) == claudeAsksWord;
}

bool isRulesCommand(const QStringList& args) {
    if (args.size() < 2 || args.at(0) != QLatin1String("rules"))
        return false;
    if (args.at(1) == QLatin1String("list"))
        return args.size() == 2;
    const bool edits = args.at(1) == QLatin1String("add") || args.at(1) == QLatin1String("remove");
    return edits && args.size() == 3 && !args.at(2).isEmpty();
}

QString versionLine() {
    return QStringLiteral("Hollowmere ") + QCoreApplication::applicationVersion();
}

} // namespace

QString usage() {
    return QStringLiteral(
        "usage: hollowmere                        start the app\n"
        "       hollowmere --version              print the version\n"
        "       hollowmere hooks install          register hollowmere-hook in "
        "~/.claude/settings.json\n"
        "       hollowmere hooks uninstall        remove Hollowmere's hook entries\n"
        "       hollowmere hooks status           tell whether the hooks are registered\n"
        "       hollowmere hooks restore          put back the settings as they were before the "
        "first install\n"
        "       hollowmere hooks ask-when [every-tool|claude-asks]\n"
        "                                         ask before every tool, or only when Claude Code "
        "would ask\n"
        "       hollowmere rules list             print the allow rules, one a line\n"
        "       hollowmere rules add PATTERN      add an allow rule, e.g. 'Bash(git:*)'\n"
        "       hollowmere rules remove PATTERN   remove an allow rule\n"
        "exit status: 0 done, 1 nothing changed (or not installed), 2 usage error\n");
}

bool isCommand(const QStringList& args) {
    if (args.isEmpty())
        return false;
    const QString& first = args.first();
    return !first.startsWith(QLatin1Char('-')) || first == QLatin1String("-h") ||
           first == QLatin1String("--help") || first == QLatin1String("--version");
}

int run(const QStringList& args, QTextStream& out, QTextStream& err) {
    if (args.size() == 1 &&
        (args.first() == QLatin1String("help") || args.first() == QLatin1String("-h") ||
         args.first() == QLatin1String("--help"))) {
        out << versionLine() << ": Claude Code, right under your camera notch.\n\n"
            << usage() << Qt::flush;
        return 0;
    }
    if (args.size() == 1 && args.first() == QLatin1String("--version")) {
        out << versionLine() << Qt::endl;
        return 0;
    }
    if (isHooksCommand(args))
        return hooks(args.at(1), out);
    if (isAskWhenCommand(args))
        return askWhen(args, out);
    if (isRulesCommand(args))
        return rules(args.mid(1), out);
    err << "hollowmere: unknown command: " << args.join(QLatin1Char(' ')) << "\n"
        << usage() << Qt::flush;
    return 2;
}

} // namespace CommandLine
