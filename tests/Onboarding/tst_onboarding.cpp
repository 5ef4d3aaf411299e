// SPDX-License-Identifier: MIT
// The first-run flow over recording fakes of the machine, for what a desktop run cannot reach:
// hooks already there or missing, Accessibility (macOS) and its restart, resuming after a
// restart, ask-when, and the window polling the status. The walk a new user takes is
// test_new_user's.
#include "Onboarding/KeyableBorderlessWindow.h"
#include "Onboarding/OnboardingFlow.h"
#include "Onboarding/OnboardingWindow.h"
#include "Onboarding/Preferences.h"
#include "Sessions/SessionStore.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The machine as the flow sees it; each answer can be changed while the flow runs.
struct Machine {
    bool hooks = false;
    bool trusted = true;
    std::optional<QString> hook = QStringLiteral("/opt/hollowmere/bin/hollowmere-hook");
    QStringList calls;

    OnboardingFlow::Environment env() {
        OnboardingFlow::Environment e;
        e.hooksInstalled = [this] { return calls << "hooksInstalled", hooks; };
        e.installHooks = [this] {
            calls << "installHooks";
            if (!hook)
                return QStringLiteral("skip: hollowmere-hook not found next to app binary");
            hooks = true;
            return QStringLiteral("installed hooks → ") + *hook;
        };
        e.hookBinaryPath = [this] { return hook; };
        e.launchAgentInstalled = [] { return false; };
        e.installLaunchAgent = e.uninstallLaunchAgent = [] { return true; };
        e.accessibilityTrusted = [this] { return calls << "accessibilityTrusted", trusted; };
        e.relaunch = [this] { calls << "relaunch"; };
        e.openUrl = [this](const QUrl& url) { calls << url.toString(); };
        return e;
    }
};

} // namespace

class TestOnboarding : public QObject {
    Q_OBJECT
    QTemporaryDir m_config;
    std::unique_ptr<SessionStore> m_store;

    static QSettings prefs() { return QSettings(); }

private slots:
    void initTestCase() {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
    }

    void init() {
        QSettings().clear();
        SessionStore::Environment env;
        env.settingsPath = m_config.filePath("settings.json");
        env.playSound = [](const QString&) {};
        env.runningClaudeCwds = [] { return std::set<std::string>{}; };
        m_store = std::make_unique<SessionStore>(env);
    }

    // The hooks step's button before and after installing, and again after going back.
    void hooksStepButton() {
        const struct {
            const char* row;
            bool installedBefore, hookPresent;
            QString label;
            bool installs;
            QString labelAfterBack;
        } rows[] = {
            {"fresh", false, true, "Install hooks", true, "Installed ✓"},
            {"already there", true, true, "Already installed — Continue", false,
             "Already installed — Continue"},
            {"hook missing", false, false, "Install hooks", true, "Install hooks"},
        };
        for (const auto& row : rows) {
            Machine m;
            m.hooks = row.installedBefore;
            if (!row.hookPresent)
                m.hook.reset();
            OnboardingFlow flow(m_store.get(), m.env());
            QVERIFY2(flow.hookPathText() == (row.hookPresent ? *m.hook : "(hook binary missing)"),
                     row.row);
            QVERIFY(!flow.canGoBack());
            flow.advance();
            QVERIFY2(flow.step() == OnboardingFlow::hooks && flow.hooksPrimaryLabel() == row.label,
                     row.row);
            m.calls.clear();
            flow.hooksPrimaryAction();
            QVERIFY2(m.calls.contains("installHooks") == row.installs, row.row);
            QVERIFY2(flow.step() == OnboardingFlow::permissions &&
                         flow.hooksInstalled() == (row.installedBefore || row.hookPresent),
                     row.row);
            if (!row.hookPresent)
                QCOMPARE(flow.installStatus(),
                         QStringLiteral("skip: hollowmere-hook not found next to app binary"));
            flow.goBack();
            QVERIFY2(flow.hooksPrimaryLabel() == row.labelAfterBack, row.row);
            m.calls.clear();
            flow.hooksPrimaryAction(); // installed by now: only moves on, or installs again
            QVERIFY2(m.calls.contains("installHooks") == !row.hookPresent, row.row);
        }
    }

    void accessibilityStates() {
        Machine m;
        m.trusted = false;
        OnboardingFlow flow(m_store.get(), m.env());
        QCOMPARE(flow.accessibilityState(), OnboardingFlow::NotGranted);
        QCOMPARE(flow.permissionsContinueLabel(),
                 QStringLiteral("Grant Accessibility access to continue"));
        QVERIFY(!flow.permissionsContinueEnabled());
        flow.openAccessibilitySettings();
        QCOMPARE(m.calls.last(),
                 QStringLiteral("x-apple.systempreferences:com.apple.preference.security?"
                                "Privacy_Accessibility"));

        QSignalSpy changes(&flow, &OnboardingFlow::statusChanged);
        flow.refreshStatus();
        QCOMPARE(changes.count(), 0); // nothing changed, nothing said
        m.trusted = true;             // granted while the flow is open
        flow.refreshStatus();
        QCOMPARE(changes.count(), 1);
        QCOMPARE(flow.accessibilityState(), OnboardingFlow::GrantedNeedsRestart);
        QCOMPARE(flow.permissionsContinueLabel(), QStringLiteral("Restart Hollowmere to continue"));
        QVERIFY(!flow.permissionsContinueEnabled());

        flow.advance();
        flow.advance();
        m.calls.clear();
        flow.restartForAccessibility();
        QCOMPARE(m.calls, QStringList{"relaunch"});
        QCOMPARE(prefs().value(Preferences::onboardingResumeAt).toInt(),
                 int(OnboardingFlow::permissions));

        // The restarted app: trusted from the start, resumed at the same step, the key gone.
        OnboardingFlow resumed(m_store.get(), m.env());
        QCOMPARE(resumed.step(), OnboardingFlow::permissions);
        QVERIFY(!prefs().contains(Preferences::onboardingResumeAt));
        QCOMPARE(resumed.accessibilityState(), OnboardingFlow::Granted);
        QCOMPARE(resumed.permissionsContinueLabel(), QStringLiteral("Continue"));
        QVERIFY(resumed.permissionsContinueEnabled());
    }

    void resumeAtOnlyWhatIsAStep() {
        const std::pair<QVariant, int> rows[] = {
            {3, 3}, {4, 0}, {-1, 0}, {"hooks", 0}}; // the demo; beyond; negative; not a number
        for (const auto& [stored, step] : rows) {
            QSettings().setValue(Preferences::onboardingResumeAt, stored);
            Machine m;
            OnboardingFlow flow(m_store.get(), m.env());
            QVERIFY2(int(flow.step()) == step, qPrintable(stored.toString()));
            QVERIFY(!prefs().contains(Preferences::onboardingResumeAt));
        }
    }

    // Each choice says so once and lands in its preference; ask-when moves the hooks' preview.
    void choicesAreSavedOnce() {
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QVERIFY(flow.soundsEnabled()); // on until the user says otherwise
        QSignalSpy sounds(&flow, &OnboardingFlow::soundsEnabledChanged);
        flow.setSoundsEnabled(false);
        flow.setSoundsEnabled(false);
        QCOMPARE(sounds.count(), 1);
        QVERIFY(!Preferences::sounds());

        QCOMPARE(flow.askWhen(), int(HooksInstaller::AskWhen::everyTool));
        QCOMPARE(flow.hookEventNames(), QStringList({"PreToolUse", "Notification", "Stop"}));
        QSignalSpy changed(&flow, &OnboardingFlow::askWhenChanged);
        flow.setAskWhen(int(HooksInstaller::AskWhen::claudeAsks));
        flow.setAskWhen(int(HooksInstaller::AskWhen::claudeAsks));
        flow.setAskWhen(7);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(HooksInstaller::askWhen(), HooksInstaller::AskWhen::claudeAsks);
        QCOMPARE(flow.hookEventNames(), QStringList({"PermissionRequest", "Notification", "Stop"}));
    }

    // The real window polls the status; a second show only raises it.
    void windowPollsAndCloses() {
        Machine m;
        m.trusted = false;
        OnboardingWindow window;
        int completions = 0;
        window.show(
            m_store.get(), [&] { ++completions; }, m.env());
        QVERIFY(window.window()->errors().isEmpty());

        m.trusted = true;
        QTRY_COMPARE_WITH_TIMEOUT(window.flow()->accessibilityState(),
                                  OnboardingFlow::GrantedNeedsRestart, 5000);
        window.show(
            m_store.get(), [&] { completions += 100; }, m.env()); // raises, no second
        window.flow()->finish();
        QCOMPARE(completions, 1);
        QVERIFY(!window.isOpen());
    }
};

QTEST_MAIN(TestOnboarding)
#include "tst_onboarding.moc"
