// SPDX-License-Identifier: MIT
// The installer against real files in a throw-away HOME. A hollowmere-hook sits beside this test
// binary (copied there by the build), so hookBinaryPath() finds one.
#include "ClaudeIntegration/HooksInstaller.h"
#include "ClaudeIntegration/SettingsFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <nlohmann/json.hpp>

#include "../support/Files.h"

#include <sys/stat.h>

using nlohmann::json;

// QCOMPARE cannot take nlohmann values (its overload set trips over their conversions).
#define COMPARE_JSON(actual, expected)                                                             \
    do {                                                                                           \
        const json a_ = (actual), e_ = (expected);                                                 \
        QVERIFY2(a_ == e_,                                                                         \
                 qPrintable(QString::fromStdString(a_.dump() + "\n   expected: " + e_.dump())));   \
    } while (false)

namespace {

json readJson(const QString& path) {
    return json::parse(readBytes(path).toStdString());
}

ino_t inode(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

json managed(const std::string& command) {
    json entry = json::parse(R"J({"hollowmere-managed": true, "hooks": [{"type": "command"}]})J");
    entry["hooks"][0]["command"] = command;
    return entry;
}

const json userHook = json::parse(
    R"J({"matcher": "Bash", "hooks": [{"type": "command", "command": "/usr/bin/audit", "timeout": 5}]})J");
const json otherUserHook =
    json::parse(R"J({"hooks": [{"type": "command", "command": "echo hi"}]})J");

} // namespace

class TestHooksInstaller : public QObject {
    Q_OBJECT

    QTemporaryDir m_config; // the preferences, for the whole run: QSettings keeps its first path
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_settings;
    QString m_backup;
    std::string m_hook;

private slots:
    void initTestCase() {
        QCoreApplication::setOrganizationName("Hollowmere");
        QCoreApplication::setApplicationName("Hollowmere");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config.path()));
    }

    void init() {
        QSettings().remove("hooks.askWhen");
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(m_home->isValid());
        qputenv("HOME", QFile::encodeName(m_home->path()));
        m_settings = m_home->filePath(".claude/settings.json");
        m_backup = m_settings + ".hollowmere-backup";
        QCOMPARE(HooksInstaller::settingsPath(), m_settings);
        QCOMPARE(HooksInstaller::backupURL(), m_backup);
        const auto hook = HooksInstaller::hookBinaryPath();
        QVERIFY2(hook, "hollowmere-hook must sit beside the test binary");
        QCOMPARE(*hook, QCoreApplication::applicationDirPath() + "/hollowmere-hook");
        m_hook = hook->toStdString();
    }

    void installIntoFreshHomeThenAgain() {
        QVERIFY(!QFileInfo::exists(m_home->filePath(".claude")));
        QVERIFY(!HooksInstaller::isInstalled());
        QCOMPARE(HooksInstaller::installIfNeeded(),
                 QStringLiteral("installed hooks → ") + QString::fromStdString(m_hook));

        const json root = readJson(m_settings);
        json expected = json::object();
        for (const char* event : {"PreToolUse", "Notification", "Stop"})
            expected["hooks"][event] = json::array({managed(m_hook)});
        COMPARE_JSON(root, expected);
        QVERIFY(!QFileInfo::exists(m_backup)); // there was nothing to back up
        QVERIFY(HooksInstaller::isInstalled());

        const QByteArray bytes = readBytes(m_settings);
        const ino_t before = inode(m_settings);
        QCOMPARE(HooksInstaller::installIfNeeded(), QStringLiteral("ok: hooks already installed"));
        QCOMPARE(readBytes(m_settings), bytes);
        QCOMPARE(inode(m_settings), before);
    }

    void userEntriesKeepTheirPlaceAndSurviveUninstall() {
        json original = json::parse(R"J({
            "model": "opus", "env": {"A": "1"}, "permissions": {"allow": ["Read"], "deny": ["Bash(rm:*)"]},
            "hooks": {"PostToolUse": [{"hooks": [{"type": "command", "command": "fmt"}]}],
                      "Stop": [{"hollowmere-managed": false, "hooks": [{"type": "command", "command": "a"}]},
                               {"hollowmere-managed": "true", "hooks": [{"type": "command", "command": "b"}]}]}})J");
        original["hooks"]["PreToolUse"] =
            json::array({userHook, managed("/old/place/hollowmere-hook"), otherUserHook});
        const QByteArray originalBytes = QByteArray::fromStdString(original.dump(4));
        writeBytes(m_settings, originalBytes);

        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed hooks → ")));
        QVERIFY(HooksInstaller::isInstalled());
        QCOMPARE(readBytes(m_backup), originalBytes);

        json root = readJson(m_settings);
        // The stale entry is replaced, not duplicated; user entries keep their order.
        COMPARE_JSON(root["hooks"]["PreToolUse"],
                     json::array({userHook, otherUserHook, managed(m_hook)}));
        QCOMPARE(root["hooks"]["Stop"].size(), std::size_t(3));
        COMPARE_JSON(root["hooks"]["Stop"][0], original["hooks"]["Stop"][0]);
        COMPARE_JSON(root["hooks"]["Stop"][1], original["hooks"]["Stop"][1]);
        COMPARE_JSON(root["hooks"]["Stop"][2], managed(m_hook));
        COMPARE_JSON(root["hooks"]["Notification"], json::array({managed(m_hook)}));
        COMPARE_JSON(root["hooks"]["PostToolUse"], original["hooks"]["PostToolUse"]);
        for (const char* key : {"model", "env", "permissions"})
            COMPARE_JSON(root[key], original[key]);

        QVERIFY(HooksInstaller::uninstall());
        QVERIFY(!HooksInstaller::isInstalled());
        root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook, otherUserHook}));
        COMPARE_JSON(root["hooks"]["Stop"],
                     original["hooks"]["Stop"]); // marker false / "true" stay
        QVERIFY(!root["hooks"].contains("Notification"));
        COMPARE_JSON(root["hooks"]["PostToolUse"], original["hooks"]["PostToolUse"]);
        for (const char* key : {"model", "env", "permissions"})
            COMPARE_JSON(root[key], original[key]);

        // Nothing left to remove: no write at all.
        const QByteArray bytes = readBytes(m_settings);
        const ino_t before = inode(m_settings);
        QVERIFY(!HooksInstaller::uninstall());
        QCOMPARE(readBytes(m_settings), bytes);
        QCOMPARE(inode(m_settings), before);
    }

    void askWhenMovesOnlyTheManagedEntry() {
        using HooksInstaller::AskWhen;
        QVERIFY(HooksInstaller::askWhen() == AskWhen::everyTool);
        QCOMPARE(HooksInstaller::managedEventNames(),
                 QStringList({"PreToolUse", "Notification", "Stop"}));
        // Nothing installed: only the choice changes.
        QVERIFY(HooksInstaller::setAskWhen(AskWhen::claudeAsks));
        QVERIFY(!QFileInfo::exists(m_settings));
        QCOMPARE(HooksInstaller::managedEventNames(),
                 QStringList({"PermissionRequest", "Notification", "Stop"}));
        QCOMPARE(QSettings().value("hooks.askWhen").toString(), QStringLiteral("claudeAsks"));
        QVERIFY(HooksInstaller::setAskWhen(AskWhen::everyTool));

        json original = json::parse(R"J({"model": "opus", "hooks": {"Stop": []}})J");
        original["hooks"]["PreToolUse"] = json::array({userHook});
        original["hooks"]["PermissionRequest"] = json::array({otherUserHook});
        writeBytes(m_settings, QByteArray::fromStdString(original.dump()));
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        const QByteArray everyTool = readBytes(m_settings);

        QVERIFY(HooksInstaller::setAskWhen(AskWhen::claudeAsks));
        QVERIFY(HooksInstaller::isInstalled());
        json root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook}));
        COMPARE_JSON(root["hooks"]["PermissionRequest"],
                     json::array({otherUserHook, managed(m_hook)}));
        COMPARE_JSON(root["hooks"]["Stop"], json::array({managed(m_hook)}));
        COMPARE_JSON(root["model"], "opus");
        QCOMPARE(HooksInstaller::installIfNeeded(), QStringLiteral("ok: hooks already installed"));

        QVERIFY(HooksInstaller::setAskWhen(AskWhen::everyTool));
        QCOMPARE(readBytes(m_settings), everyTool);

        // A managed entry left on the other choice's event would fire too: not installed until
        // install removes it, and an event that held only that entry goes with it.
        root = readJson(m_settings);
        root["hooks"]["PermissionRequest"] = json::array({managed("/old/hollowmere-hook")});
        writeBytes(m_settings, QByteArray::fromStdString(root.dump()));
        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(HooksInstaller::isInstalled());
        QVERIFY(!readJson(m_settings)["hooks"].contains("PermissionRequest"));

        // Uninstall takes ours from both events.
        root["hooks"]["PermissionRequest"] = json::array({otherUserHook, managed(m_hook)});
        writeBytes(m_settings, QByteArray::fromStdString(root.dump()));
        QVERIFY(HooksInstaller::uninstall());
        root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook}));
        COMPARE_JSON(root["hooks"]["PermissionRequest"], json::array({otherUserHook}));
    }

    void uninstallDropsEmptyEventsAndHooks() {
        QVERIFY(!HooksInstaller::uninstall()); // no file
        QVERIFY(!QFileInfo::exists(m_settings));

        writeBytes(m_settings, R"J({"theme": "dark"})J");
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(HooksInstaller::uninstall());
        COMPARE_JSON(readJson(m_settings), json::parse(R"J({"theme": "dark"})J"));
    }

    void restoreBackup() {
        QVERIFY(!HooksInstaller::restoreBackup());

        const QByteArray original = R"J({"b": 2, "a": [1, 2.5, "x"]})J";
        writeBytes(m_settings, original);
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(HooksInstaller::addAllowRule("Read"));
        QVERIFY(HooksInstaller::uninstall());
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QCOMPARE(readBytes(m_backup), original); // the one-time backup is never overwritten

        QVERIFY(HooksInstaller::restoreBackup());
        QCOMPARE(readBytes(m_settings), original);
        QVERIFY(!QFileInfo::exists(m_backup));
        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(!HooksInstaller::restoreBackup());

        // A backup without a settings file is put in place as well.
        writeBytes(m_backup, original);
        QFile::remove(m_settings);
        QVERIFY(HooksInstaller::restoreBackup());
        QCOMPARE(readBytes(m_settings), original);
    }

    void allowRules() {
        QVERIFY(HooksInstaller::currentAllowPatterns().isEmpty());
        QVERIFY(!HooksInstaller::removeAllowRule("Read")); // no file: nothing to remove
        QVERIFY(HooksInstaller::addAllowRule("Bash(git:*)"));
        QVERIFY(!HooksInstaller::addAllowRule("Bash(git:*)"));
        QVERIFY(HooksInstaller::addAllowRule("Read"));
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Bash(git:*)", "Read"}));
        COMPARE_JSON(readJson(m_settings),
                     json::parse(R"J({"permissions": {"allow": ["Bash(git:*)", "Read"]}})J"));

        writeBytes(m_settings, R"J({"permissions": {"allow": ["A", "B", "A"], "deny": ["C"],
                                   "defaultMode": "plan"}, "x": null})J");
        QVERIFY(HooksInstaller::removeAllowRule("A"));
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"B", "A"}));
        QVERIFY(!HooksInstaller::removeAllowRule("Z"));
        QVERIFY(HooksInstaller::addAllowRule("Edit"));
        COMPARE_JSON(readJson(m_settings),
                     json::parse(R"J({"permissions": {"allow": ["B", "A", "Edit"],
                                                   "deny": ["C"], "defaultMode": "plan"}, "x": null})J"));
        QVERIFY(!QFileInfo::exists(m_backup)); // only installs make the backup
    }

    void malformedFileIsNeverLost() {
        const QByteArray broken = "{\"model\": \"opus\",, oops";
        writeBytes(m_settings, broken);
        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(!HooksInstaller::uninstall());
        // Rule edits never replace a file that does not parse, and take no backup slot.
        QVERIFY(!HooksInstaller::addAllowRule("Read"));
        QVERIFY(!HooksInstaller::removeAllowRule("A"));
        QVERIFY(HooksInstaller::settingsFileProblem()->contains("does not parse"));
        QCOMPARE(readBytes(m_settings), broken);
        QVERIFY(!QFileInfo::exists(m_backup));

        // Only install replaces it, after copying it aside.
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QCOMPARE(readBytes(m_backup), broken);
        QCOMPARE(readJson(m_settings).size(), std::size_t(1)); // only "hooks"
        QVERIFY(!HooksInstaller::settingsFileProblem());

        // Broken again while a backup exists: install keeps the new content in its own copy.
        const QByteArray brokenAgain = "[\"not an object\"]";
        writeBytes(m_settings, brokenAgain);
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QCOMPARE(readBytes(m_backup), broken);
        const QStringList copies =
            QDir(m_home->filePath(".claude")).entryList({"settings.json.hollowmere-unparsable-*"});
        QCOMPARE(copies.size(), 1);
        QCOMPARE(readBytes(m_home->filePath(".claude/" + copies.first())), brokenAgain);

        // Restoring over a broken file keeps that one too.
        writeBytes(m_settings, "{{{");
        QVERIFY(HooksInstaller::restoreBackup());
        QCOMPARE(readBytes(m_settings), broken);
        QCOMPARE(QDir(m_home->filePath(".claude"))
                     .entryList({"settings.json.hollowmere-unparsable-*"})
                     .size(),
                 2);
    }

    void whatClaudeCodeReadsIsReadAndKept() {
        // Claude Code reads lone surrogate escapes and bytes that are not UTF-8 (as U+FFFD); a
        // rewrite must give back the same text to it.
        const QByteArray original =
            "{\"a\": \"\\ud800\", \"b\": [\"x\\uDC00y\", \"\\ud83d\\ude00\"], "
            "\"c\": \"\xef\xb7\x90 \\ufdd0\", \"d\": \"\xff!\xe2\x82\", "
            "\"\\ud801\": 1, \"permissions\": {\"allow\": [\"Read\"]}}";
        writeBytes(m_settings, original);
        QVERIFY(!HooksInstaller::settingsFileProblem());
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Read"}));
        QVERIFY(HooksInstaller::addAllowRule("Edit"));
        const QByteArray text = readBytes(m_settings);
        for (const char* kept :
             {R"("a": "\ud800")", R"("x\udc00y")", "\"\xf0\x9f\x98\x80\"",
              R"("c": "\ufdd0 \ufdd0")", "\"d\": \"\xef\xbf\xbd!\xef\xbf\xbd\"", R"("\ud801": 1)"})
            QVERIFY2(text.contains(kept), text.constData());
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Read", "Edit"}));
        QVERIFY(!QFileInfo::exists(m_backup));
        QVERIFY(HooksInstaller::removeAllowRule("Edit"));
        QVERIFY(readBytes(m_settings).contains(R"("a": "\ud800")"));
    }

    void settingsWeCannotRewriteAreLeftAlone_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("why");
        auto nested = [](int depth, const QByteArray& inside = {}) {
            return QByteArray(depth, '[') + inside + QByteArray(depth, ']');
        };
        QTest::newRow("nested 100,000 deep")
            << "{\"permissions\": {\"allow\": [\"Read\"]}, \"x\": " + nested(100000) + "}"
            << "nests deeper than 64 levels";
        // 60 KB that indenting would turn into 1.8 GB.
        QTest::newRow("60 KB, 30,000 levels") << "{\"x\": " + nested(30000) + "}"
                                              << "nests deeper than 64 levels";
        // Within the bound, yet many times larger once every element is indented.
        QByteArray many = QByteArray("1,").repeated(99999) + "1";
        QTest::newRow("200 KB that indenting makes 12 MB") << "{\"x\": " + nested(60, many) + "}"
                                                           << "would grow";
    }

    void settingsWeCannotRewriteAreLeftAlone() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, why);
        writeBytes(m_settings, bytes);
        const QString status = HooksInstaller::installIfNeeded();
        QVERIFY2(status.startsWith(QStringLiteral("failed to write settings: ")) &&
                     status.contains(why),
                 qPrintable(status.left(300)));
        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(!HooksInstaller::addAllowRule("Edit"));
        QVERIFY(!HooksInstaller::removeAllowRule("Read"));
        const auto problem = HooksInstaller::settingsFileProblem();
        QVERIFY(problem && problem->contains(why));
        QCOMPARE(readBytes(m_settings), bytes);
        QVERIFY(!QFileInfo::exists(m_backup));
        QCOMPARE(QDir(m_home->filePath(".claude")).entryList({"settings.json*"}).size(), 1);
    }

    void bigNumbersSurviveOrBlockTheWrite() {
        writeBytes(m_settings, R"J({"a": 9007199254740993, "b": 18446744073709551615,
                                   "c": -9223372036854775808, "d": 0.1, "e": 1e300})J");
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(HooksInstaller::uninstall());
        const QByteArray text = readBytes(m_settings);
        for (const char* literal :
             {"9007199254740993", "18446744073709551615", "-9223372036854775808", "0.1", "1e+300"})
            QVERIFY2(text.contains(literal), literal);
        QVERIFY(HooksInstaller::restoreBackup());

        // Numbers a rewrite would change: the file is left exactly as it is.
        for (const QByteArray& big : {QByteArray("123456789012345678901234567890"),
                                      QByteArray("-99999999999999999999"), QByteArray("1e400")}) {
            QFile::remove(m_backup);
            const QByteArray bytes = R"J({"permissions": {"allow": ["Read"]}, "n": )J" + big + "}";
            writeBytes(m_settings, bytes);
            const QString status = HooksInstaller::installIfNeeded();
            QVERIFY2(status.startsWith(QStringLiteral("failed to write settings: ")) &&
                         status.contains(QString::fromLatin1(big)),
                     qPrintable(status));
            QVERIFY(!HooksInstaller::addAllowRule("Edit"));
            // nlohmann cannot read 1e400 at all; the file then only counts as unreadable.
            if (!big.contains('e'))
                QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Read"}));
            QVERIFY(!HooksInstaller::removeAllowRule("Read"));
            QCOMPARE(readBytes(m_settings), bytes);
            QVERIFY(!QFileInfo::exists(m_backup));
        }
    }

    void writesKeepModeAndSymlinks() {
        writeBytes(m_settings, "{}");
        QVERIFY(QFile::setPermissions(m_settings, QFile::ReadOwner | QFile::WriteOwner));
        QVERIFY(HooksInstaller::addAllowRule("Read"));
        QCOMPARE(QFileInfo(m_settings).permissions() & 0x0777, QFile::ReadUser | QFile::WriteUser);

        // Dotfile managers link settings.json elsewhere; the link must stay a link.
        const QString real = m_home->filePath("dotfiles/claude-settings.json");
        writeBytes(real, R"J({"model": "opus"})J");
        QFile::remove(m_settings);
        QVERIFY(QFile::link(real, m_settings));
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(QFileInfo(m_settings).isSymLink());
        COMPARE_JSON(readJson(real)["model"], "opus");
        QVERIFY(HooksInstaller::isInstalled());
        QCOMPARE(QDir(m_home->filePath("dotfiles")).entryList(QDir::Files | QDir::Hidden).size(),
                 1); // no temporary file left behind

        // A link whose target is not there yet: the target is made, the link stays.
        QFile::remove(m_settings);
        const QString later = m_home->filePath("dotfiles/new/claude.json");
        QVERIFY(QFile::link(later, m_settings));
        QVERIFY(HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed")));
        QVERIFY(QFileInfo(m_settings).isSymLink());
        QVERIFY(HooksInstaller::isInstalled());
        QVERIFY(readJson(later).contains("hooks"));
    }

    void aWriteBetweenReadAndRenameIsNotLost() {
        // Claude Code writes the file without our lock; its write must survive ours.
        writeBytes(m_settings, R"J({"model": "opus"})J");
        int edits = 0;
        const auto done =
            SettingsFile::update(m_settings, {m_backup}, [&](const SettingsFile::Contents& before) {
                if (++edits == 1)
                    writeBytes(m_settings, R"J({"model": "sonnet"})J");
                json root = before.root;
                root["permissions"]["allow"] = {"Read"};
                return std::optional<json>(root);
            });
        QCOMPARE(int(done.kind), int(SettingsFile::Outcome::Kind::written));
        QCOMPARE(edits, 2);
        COMPARE_JSON(readJson(m_settings),
                     json::parse(R"J({"model": "sonnet", "permissions": {"allow": ["Read"]}})J"));
    }

    void commandRunsThroughShell() {
        // Claude Code runs the command with sh -c; a path with spaces or quotes must still run.
        const QString dir = m_home->filePath("My Apps/it's here");
        QVERIFY(QDir().mkpath(dir));
        const QString script = dir + "/hollowmere-hook";
        writeBytes(script, "#!/bin/sh\necho ran\n");
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        QCOMPARE(HooksInstaller::commandFor("/opt/h/hollowmere-hook"),
                 QStringLiteral("/opt/h/hollowmere-hook"));
        QProcess sh;
        sh.start("/bin/sh", {"-c", HooksInstaller::commandFor(script)});
        QVERIFY(sh.waitForFinished());
        QCOMPARE(sh.readAllStandardOutput(), QByteArray("ran\n"));
    }
};

QTEST_GUILESS_MAIN(TestHooksInstaller)
#include "tst_hooksinstaller.moc"
