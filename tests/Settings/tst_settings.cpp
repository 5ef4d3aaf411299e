// SPDX-License-Identifier: MIT
// The settings window's model over a temporary HOME with real files, for what test_new_user's
// walk through the real window does not reach: install and uninstall from the Connection tab,
// a file it refuses, the store following a revoke, the replay, and showing before binding.
#include "ClaudeIntegration/HooksInstaller.h"
#include "Onboarding/Preferences.h"
#include "Sessions/SessionStore.h"
#include "Settings/SettingsModel.h"
#include "Settings/SettingsWindowController.h"

#include <QDir>
#include <QQuickView>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "../support/Files.h"

namespace {

// Only the machine's facts the test cannot own; every file operation is the real one.
SettingsModel::Environment machine() {
    SettingsModel::Environment env;
    env.shared.accessibilityTrusted = [] { return true; };
    env.shared.launchAgentInstalled = [] { return false; };
    env.shared.openUrl = [](const QUrl&) {};
    return env;
}

} // namespace

class TestSettings : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;
    QString m_settings;
    std::unique_ptr<SessionStore> m_store;

private slots:
    void initTestCase() {
        qputenv("HOME", m_home.path().toUtf8());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           m_home.filePath(".config"));
        m_settings = HooksInstaller::settingsPath();
        QVERIFY(m_settings.startsWith(m_home.path()));
        // hookBinaryPath() wants hollowmere-hook beside this executable.
        QVERIFY(HooksInstaller::hookBinaryPath());
    }

    void init() {
        QDir(m_home.filePath(".claude")).removeRecursively();
        QSettings().clear();
        m_store = std::make_unique<SessionStore>();
    }

    void installAndUninstall() {
        const QByteArray original = "{\"hooks\": {\"Stop\": [{\"hooks\": [{\"type\": "
                                    "\"command\", \"command\": \"mine\"}]}]}, \"theme\": \"dark\"}";
        writeBytes(m_settings, original);
        SettingsModel model(m_store.get(), nullptr, machine());
        QVERIFY(!model.hooksInstalled());
        QCOMPARE(model.hookStatusText(),
                 QStringLiteral("Claude Code can't reach Hollowmere until we install the hook."));
        QVERIFY(!model.backupExists());

        model.installHooks();
        QVERIFY(model.hooksInstalled());
        QCOMPARE(model.hookStatusText(), QStringLiteral("Claude Code is wired up to Hollowmere."));
        QVERIFY(model.backupExists());
        QCOMPARE(model.problemText(), QString());

        // Uninstall asks first; Cancel changes nothing.
        const QByteArray installed = readBytes(m_settings);
        model.requestUninstall();
        QVERIFY(model.confirming());
        QCOMPARE(model.confirmLabel(), QStringLiteral("Uninstall"));
        model.cancelConfirmation();
        QVERIFY(!model.confirming());
        QCOMPARE(readBytes(m_settings), installed);
        model.requestUninstall();
        model.confirm();
        QVERIFY(!model.hooksInstalled());
        QVERIFY(readBytes(m_settings).contains("mine"));
    }

    // One Revoke per row, one occurrence per click; the store stops approving at once.
    void revokeRemovesOneOccurrence() {
        writeBytes(m_settings,
                   R"json({"permissions": {"allow": ["Read", "Bash(git:*)", "Read"]}})json");
        m_store->reloadAllowPatterns();
        SettingsModel model(m_store.get(), nullptr, machine());
        QCOMPARE(model.allowPatterns(), QStringList({"Read", "Bash(git:*)", "Read"}));
        QCOMPARE(model.allowedCountText(), QStringLiteral("3"));

        model.revoke(2);
        QCOMPARE(model.allowPatterns(), QStringList({"Bash(git:*)", "Read"}));
        QCOMPARE(HooksInstaller::currentAllowPatterns(), QStringList({"Bash(git:*)", "Read"}));
        model.revoke(1);
        model.revoke(7); // no such row: nothing happens
        QCOMPARE(model.allowPatterns(), QStringList({"Bash(git:*)"}));
        QCOMPARE(m_store->allowPatterns(), QStringList({"Bash(git:*)"}));
    }

    // A file the installer will not rewrite: the tab says why, from the start, and the file is
    // left as it is.
    void refusedInstallIsShown() {
        const QByteArray bytes = "{\"n\": 123456789012345678901234567890}";
        writeBytes(m_settings, bytes);
        SettingsModel model(m_store.get(), nullptr, machine());
        QVERIFY2(model.problemText().contains("123456789012345678901234567890"),
                 qPrintable(model.problemText())); // said before anything is tried
        model.installHooks();
        QVERIFY(!model.hooksInstalled());
        QVERIFY(model.problemText().contains("123456789012345678901234567890"));
        QCOMPARE(readBytes(m_settings), bytes);
    }

    void replayForgetsTheOnboarding() {
        SettingsModel model(m_store.get(), nullptr, machine());
        QSettings().setValue(Preferences::onboardingCompleted, true);
        QSettings().setValue(Preferences::onboardingResumeAt, 2);
        QSignalSpy replay(&model, &SettingsModel::replayRequested);
        model.replayOnboarding();
        QCOMPARE(replay.count(), 1);
        QVERIFY(!QSettings().contains(Preferences::onboardingCompleted));
        QVERIFY(!QSettings().contains(Preferences::onboardingResumeAt));
    }

    void showBeforeBindShowsNothing() {
        SettingsWindowController controller;
        QTest::ignoreMessage(QtWarningMsg, "SettingsWindow.show: no sessions store bound");
        controller.show();
        QVERIFY(!controller.isOpen());

        controller.bind(m_store.get(), nullptr, machine());
        controller.show();
        QVERIFY(controller.isOpen());
        QVERIFY(controller.window()->errors().isEmpty());
        controller.model()->close();
        QVERIFY(!controller.isOpen());
    }
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
