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

void writeJson(const QString& path, const json& root) {
    writeBytes(path, QByteArray::fromStdString(root.dump()));
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

bool installed() {
    return HooksInstaller::installIfNeeded().startsWith(QStringLiteral("installed hooks → "));
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

    // `change` leaves the file alone: same bytes, and not even replaced by a copy of itself.
    void verifyNoWrite(const std::function<void()>& change) {
        const QByteArray bytes = readBytes(m_settings);
        const ino_t before = inode(m_settings);
        change();
        QCOMPARE(readBytes(m_settings), bytes);
        QCOMPARE(inode(m_settings), before);
    }
    QStringList unparsableCopies() const {
        return QDir(m_home->filePath(".claude"))
            .entryList({"settings.json.hollowmere-unparsable-*"});
    }

private slots:
    void initTestCase() {
        QCoreApplication::setOrganizationName("Hollowmere");
        QCoreApplication::setApplicationName("Hollowmere");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config.path()));
    }

    void init() {
        QSettings().remove("hooks.askWhen");
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", QFile::encodeName(m_home->path()));
        m_settings = m_home->filePath(".claude/settings.json");
        m_backup = m_settings + ".hollowmere-backup";
        QCOMPARE(HooksInstaller::settingsPath(), m_settings);
        QCOMPARE(HooksInstaller::backupURL(), m_backup);
        const auto hook = HooksInstaller::hookBinaryPath();
        QCOMPARE(hook.value_or(""), QCoreApplication::applicationDirPath() + "/hollowmere-hook");
        m_hook = hook->toStdString();
    }

    void installIntoFreshHomeThenAgain() {
        QVERIFY(!HooksInstaller::isInstalled());
        QCOMPARE(HooksInstaller::installIfNeeded(),
                 QStringLiteral("installed hooks → ") + QString::fromStdString(m_hook));
        json expected = json::object();
        for (const char* event : {"PreToolUse", "Notification", "Stop"})
            expected["hooks"][event] = json::array({managed(m_hook)});
        COMPARE_JSON(readJson(m_settings), expected);
        QVERIFY(!QFileInfo::exists(m_backup)); // there was nothing to back up
        QVERIFY(HooksInstaller::isInstalled());
        verifyNoWrite([] {
            QCOMPARE(HooksInstaller::installIfNeeded(),
                     QStringLiteral("ok: hooks already installed"));
        });

        QVERIFY(HooksInstaller::uninstall());
        COMPARE_JSON(readJson(m_settings), json::object()); // empty events and "hooks" go
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
        const auto keepsTheRest = [&](const json& root) {
            for (const char* key : {"model", "env", "permissions"})
                COMPARE_JSON(root[key], original[key]);
            COMPARE_JSON(root["hooks"]["PostToolUse"], original["hooks"]["PostToolUse"]);
        };

        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(installed());
        QVERIFY(HooksInstaller::isInstalled());
        QCOMPARE(readBytes(m_backup), originalBytes);
        json root = readJson(m_settings);
        // The stale entry is replaced, not duplicated; user entries keep their order, and only
        // a marker of true (not false, not "true") makes an entry ours.
        COMPARE_JSON(root["hooks"]["PreToolUse"],
                     json::array({userHook, otherUserHook, managed(m_hook)}));
        COMPARE_JSON(root["hooks"]["Stop"],
                     json::array({original["hooks"]["Stop"][0], original["hooks"]["Stop"][1],
                                  managed(m_hook)}));
        COMPARE_JSON(root["hooks"]["Notification"], json::array({managed(m_hook)}));
        keepsTheRest(root);

        QVERIFY(HooksInstaller::uninstall());
        QVERIFY(!HooksInstaller::isInstalled());
        root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook, otherUserHook}));
        COMPARE_JSON(root["hooks"]["Stop"], original["hooks"]["Stop"]);
        QVERIFY(!root["hooks"].contains("Notification"));
        keepsTheRest(root);
        verifyNoWrite([] { QVERIFY(!HooksInstaller::uninstall()); }); // nothing left to remove
    }

    void askWhenMovesOnlyTheManagedEntry() {
        using HooksInstaller::AskWhen;
        QVERIFY(HooksInstaller::askWhen() == AskWhen::everyTool);
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
        writeJson(m_settings, original);
        QVERIFY(installed());
        const QByteArray everyTool = readBytes(m_settings);

        QVERIFY(HooksInstaller::setAskWhen(AskWhen::claudeAsks));
        QVERIFY(HooksInstaller::isInstalled());
        json root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook}));
        COMPARE_JSON(root["hooks"]["PermissionRequest"],
                     json::array({otherUserHook, managed(m_hook)}));
        COMPARE_JSON(root["hooks"]["Stop"], json::array({managed(m_hook)}));
        COMPARE_JSON(root["model"], "opus");
        QVERIFY(HooksInstaller::setAskWhen(AskWhen::everyTool));
        QCOMPARE(readBytes(m_settings), everyTool);

        // A managed entry left on the other choice's event would fire too: not installed until
        // install removes it, and an event that held only that entry goes with it.
        root = readJson(m_settings);
        root["hooks"]["PermissionRequest"] = json::array({managed("/old/hollowmere-hook")});
        writeJson(m_settings, root);
        QVERIFY(!HooksInstaller::isInstalled());
        QVERIFY(installed());
        QVERIFY(HooksInstaller::isInstalled());
        QVERIFY(!readJson(m_settings)["hooks"].contains("PermissionRequest"));

        // Uninstall takes ours from both events.
        root["hooks"]["PermissionRequest"] = json::array({otherUserHook, managed(m_hook)});
        writeJson(m_settings, root);
        QVERIFY(HooksInstaller::uninstall());
        root = readJson(m_settings);
        COMPARE_JSON(root["hooks"]["PreToolUse"], json::array({userHook}));
        COMPARE_JSON(root["hooks"]["PermissionRequest"], json::array({otherUserHook}));
    }

    void restoreBackup() {
        QVERIFY(!HooksInstaller::restoreBackup());
        QVERIFY(!HooksInstaller::uninstall()); // no file
        QVERIFY(!QFileInfo::exists(m_settings));

        const QByteArray original = R"J({"b": 2, "a": [1, 2.5, "x"]})J";
        writeBytes(m_settings, original);
        QVERIFY(installed());
        QVERIFY(HooksInstaller::addAllowRule("Read"));
        QVERIFY(HooksInstaller::uninstall());
        QVERIFY(installed());
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
        QVERIFY(installed());
        QCOMPARE(readBytes(m_backup), broken);
        QCOMPARE(readJson(m_settings).size(), std::size_t(1)); // only "hooks"
        QVERIFY(!HooksInstaller::settingsFileProblem());

        // Broken again while a backup exists: install keeps the new content in its own copy.
        const QByteArray brokenAgain = "[\"not an object\"]";
        writeBytes(m_settings, brokenAgain);
        QVERIFY(installed());
        QCOMPARE(readBytes(m_backup), broken);
        QCOMPARE(unparsableCopies().size(), 1);
        QCOMPARE(readBytes(m_home->filePath(".claude/" + unparsableCopies().first())), brokenAgain);

        // Restoring over a broken file keeps that one too, in the same second.
        writeBytes(m_settings, "{{{");
        QVERIFY(HooksInstaller::restoreBackup());
        QCOMPARE(readBytes(m_settings), broken);
        QCOMPARE(unparsableCopies().size(), 2);
    }

    void whatClaudeCodeReadsIsReadAndKept() {
        // Claude Code reads lone surrogate escapes and bytes that are not UTF-8 (as U+FFFD); a
        // rewrite must give back the same text to it. Big numbers that fit survive as written.
        const QByteArray original =
            "{\"a\": \"\\ud800\", \"b\": [\"x\\uDC00y\", \"\\ud83d\\ude00\"], "
            "\"c\": \"\xef\xb7\x90 \\ufdd0\", \"d\": \"\xff!\xe2\x82\", \"\\ud801\": 1, "
            "\"n\": [9007199254740993, 18446744073709551615, -9223372036854775808, 0.1, 1e300], "
            "\"permissions\": {\"allow\": [\"Read\"]}}";
        writeBytes(m_settings, original);
        QVERIFY(!HooksInstaller::settingsFileProblem());
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Read"}));
        QVERIFY(HooksInstaller::addAllowRule("Edit"));
        const QByteArray text = readBytes(m_settings);
        for (const char* kept :
             {R"("a": "\ud800")", R"("x\udc00y")", "\"\xf0\x9f\x98\x80\"",
              R"("c": "\ufdd0 \ufdd0")", "\"d\": \"\xef\xbf\xbd!\xef\xbf\xbd\"", R"("\ud801": 1)",
              "9007199254740993", "18446744073709551615", "-9223372036854775808", "0.1", "1e+300"})
            QVERIFY2(text.contains(kept), text.constData());
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Read", "Edit"}));
        QVERIFY(!QFileInfo::exists(m_backup));
    }

    void settingsWeCannotRewriteAreLeftAlone_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("why");
        auto nested = [](int depth, const QByteArray& inside = {}) {
            return QByteArray(depth, '[') + inside + QByteArray(depth, ']');
        };
        const QByteArray head = R"J({"permissions": {"allow": ["Read"]}, "x": )J";
        QTest::newRow("nested 100,000 deep") << head + nested(100000) + "}"
                                             << "nests deeper than 64 levels";
        // 60 KB that indenting would turn into 1.8 GB.
        QTest::newRow("60 KB, 30,000 levels") << head + nested(30000) + "}"
                                              << "nests deeper than 64 levels";
        // Within the bound, yet many times larger once every element is indented.
        const QByteArray many = QByteArray("1,").repeated(99999) + "1";
        QTest::newRow("200 KB that indenting makes 12 MB") << head + nested(60, many) + "}"
                                                           << "would grow";
        // Numbers a rewrite would change.
        for (const char* big : {"123456789012345678901234567890", "-99999999999999999999", "1e400"})
            QTest::newRow(big) << head + big + "}" << big;
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
        QCOMPARE(QDir(m_home->filePath(".claude")).entryList({"settings.json*"}).size(), 1);
    }

    void writesKeepModeAndSymlinks() {
        writeBytes(m_settings, "{}");
        QVERIFY(QFile::setPermissions(m_settings, QFile::ReadOwner | QFile::WriteOwner));
        QVERIFY(HooksInstaller::addAllowRule("Read"));
        QCOMPARE(QFileInfo(m_settings).permissions() & 0x0777, QFile::ReadUser | QFile::WriteUser);

        // Dotfile managers link settings.json elsewhere; the link must stay a link, also when
        // its target is not there yet.
        const QString real = m_home->filePath("dotfiles/claude-settings.json");
        const QString later = m_home->filePath("dotfiles/new/claude.json");
        writeBytes(real, R"J({"model": "opus"})J");
        for (const QString& target : {real, later}) {
            QFile::remove(m_settings);
            QVERIFY(QFile::link(target, m_settings));
            QVERIFY(installed());
            QVERIFY(QFileInfo(m_settings).isSymLink());
            QVERIFY(HooksInstaller::isInstalled());
            QVERIFY(readJson(target).contains("hooks"));
        }
        COMPARE_JSON(readJson(real)["model"], "opus");
        // No temporary file left behind.
        QCOMPARE(QDir(m_home->filePath("dotfiles")).entryList(QDir::Files | QDir::Hidden).size(),
                 1);
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
        const QString script = m_home->filePath("My Apps/it's here/hollowmere-hook");
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
