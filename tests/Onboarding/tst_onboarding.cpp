// SPDX-License-Identifier: MIT
// The first-run flow over recording fakes of the machine: the hooks step's three button states,
// the Accessibility states and their restart, resuming after a restart, the demo step following
// the store, and the window polling the status every half second.
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
    bool agent = false;
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
        e.launchAgentInstalled = [this] { return calls << "launchAgentInstalled", agent; };
        e.installLaunchAgent = [this] { return calls << "installLaunchAgent", agent = true; };
        e.uninstallLaunchAgent = [this] {
            calls << "uninstallLaunchAgent";
            agent = false;
            return true;
        };
        e.accessibilityTrusted = [this] { return calls << "accessibilityTrusted", trusted; };
        e.relaunch = [this] { calls << "relaunch"; };
        e.openUrl = [this](const QUrl& url) { calls << url.toString(); };
        return e;
    }
};

HookEvent notification(const std::string& session) {
    HookEvent e;
    e.kind = HookEvent::Kind::notification;
    e.sessionId = session;
    e.cwd = "/work/" + session;
    e.message = "Claude needs your permission";
    e.timestamp = nowSinceReferenceDate();
    return e;
}

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

    void hooksStepButton_data() {
        QTest::addColumn<bool>("installedBefore");
        QTest::addColumn<bool>("hookPresent");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("installs");
        QTest::addColumn<QString>("labelAfterBack");
        QTest::newRow("fresh") << false << true << "Install hooks" << true << "Installed ✓";
        QTest::newRow("already there") << true << true << "Already installed — Continue" << false
                                       << "Already installed — Continue";
        QTest::newRow("hook missing")
            << false << false << "Install hooks" << true << "Install hooks";
    }

    void hooksStepButton() {
        QFETCH(bool, installedBefore);
        QFETCH(bool, hookPresent);
        QFETCH(QString, label);
        QFETCH(bool, installs);
        QFETCH(QString, labelAfterBack);
        Machine m;
        m.hooks = installedBefore;
        if (!hookPresent)
            m.hook.reset();
        OnboardingFlow flow(m_store.get(), m.env());
        QCOMPARE(flow.hookPathText(),
                 hookPresent ? *m.hook : QStringLiteral("(hook binary missing)"));
        QVERIFY(!flow.canGoBack());
        flow.advance();
        QCOMPARE(flow.step(), OnboardingFlow::hooks);
        QCOMPARE(flow.hooksPrimaryLabel(), label);

        m.calls.clear();
        flow.hooksPrimaryAction();
        QCOMPARE(m.calls.contains("installHooks"), installs);
        QCOMPARE(flow.step(), OnboardingFlow::permissions);
        QCOMPARE(flow.hooksInstalled(), installedBefore || hookPresent);
        if (!hookPresent)
            QCOMPARE(flow.installStatus(),
                     QStringLiteral("skip: hollowmere-hook not found next to app binary"));
        flow.goBack();
        QCOMPARE(flow.hooksPrimaryLabel(), labelAfterBack);
        m.calls.clear();
        if (labelAfterBack != "Install hooks") {
            flow.hooksPrimaryAction(); // installed by now: only moves on
            QVERIFY(!m.calls.contains("installHooks"));
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

    void resumeAtOnlyWhatIsAStep_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<int>("step");
        QTest::newRow("demo") << QVariant(3) << 3;
        QTest::newRow("beyond the last") << QVariant(4) << 0;
        QTest::newRow("negative") << QVariant(-1) << 0;
        QTest::newRow("not a number") << QVariant("hooks") << 0;
    }

    void resumeAtOnlyWhatIsAStep() {
        QFETCH(QVariant, stored);
        QFETCH(int, step);
        QSettings().setValue(Preferences::onboardingResumeAt, stored);
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QCOMPARE(int(flow.step()), step);
        QVERIFY(!prefs().contains(Preferences::onboardingResumeAt));
    }

    void startAtLoginAndSounds() {
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QVERIFY(flow.soundsEnabled()); // on until the user says otherwise
        flow.setStartAtLogin(true);
        QVERIFY(flow.launchAgentInstalled());
        flow.setStartAtLogin(false);
        QVERIFY(!flow.launchAgentInstalled());
        QSignalSpy sounds(&flow, &OnboardingFlow::soundsEnabledChanged);
        flow.setSoundsEnabled(false);
        flow.setSoundsEnabled(false);
        QCOMPARE(sounds.count(), 1);
        QCOMPARE(prefs().value(Preferences::soundsEnabled).toBool(), false);
        QVERIFY(!Preferences::sounds());
    }

    // The choice goes to the installer's preference, and the preview lists its events.
    void askWhenMovesThePreview() {
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QCOMPARE(flow.askWhen(), int(HooksInstaller::AskWhen::everyTool));
        QCOMPARE(flow.hookEventNames(), QStringList({"PreToolUse", "Notification", "Stop"}));
        QSignalSpy changed(&flow, &OnboardingFlow::askWhenChanged);
        flow.setAskWhen(int(HooksInstaller::AskWhen::claudeAsks));
        flow.setAskWhen(int(HooksInstaller::AskWhen::claudeAsks));
        flow.setAskWhen(7);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(HooksInstaller::askWhen(), HooksInstaller::AskWhen::claudeAsks);
        QCOMPARE(flow.hookEventNames(), QStringList({"PermissionRequest", "Notification", "Stop"}));
        const QVariantList choices = OnboardingFlow::askWhenChoices();
        QCOMPARE(choices.value(0).toMap().value("label").toString(),
                 QStringLiteral("Before every tool"));
        QCOMPARE(choices.value(1).toMap().value("label").toString(),
                 QStringLiteral("Only when Claude Code would ask"));
    }

    // Hooks, launch agent, Accessibility, in that order; the first "no" ends the check.
    void everythingAlreadySetUpStopsAtTheFirstNo() {
        Machine m;
        m.hooks = true;
        QVERIFY(!OnboardingFlow::everythingAlreadySetUp(m.env()));
        QCOMPARE(m.calls, QStringList({"hooksInstalled", "launchAgentInstalled"}));
        m.agent = true;
        m.calls.clear();
        QVERIFY(OnboardingFlow::everythingAlreadySetUp(m.env()));
        QCOMPARE(m.calls,
                 QStringList({"hooksInstalled", "launchAgentInstalled", "accessibilityTrusted"}));
    }

    void demoFollowsTheStore() {
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QCOMPARE(flow.demoTitle(), QStringLiteral("Try it out"));
        QCOMPARE(flow.demoStatus(), QStringLiteral("Waiting for Claude…"));
        QCOMPARE(flow.finishLabel(), QStringLiteral("I'll do this later"));
        QCOMPARE(flow.demoCountText(), QString());

        m_store->handle(notification("one"), [](const HookDecision&) {});
        QCOMPARE(flow.demoTitle(), QStringLiteral("You're all set!"));
        QCOMPARE(flow.demoStatus(), QStringLiteral("Session detected"));
        QCOMPARE(flow.demoCountText(), QStringLiteral("1 session detected"));
        QCOMPARE(flow.finishLabel(), QStringLiteral("Open Hollowmere"));
        m_store->handle(notification("two"), [](const HookDecision&) {});
        QCOMPARE(flow.demoCountText(), QStringLiteral("2 sessions detected"));

        QSignalSpy completed(&flow, &OnboardingFlow::completed);
        flow.finish();
        QCOMPARE(completed.count(), 1);
        QVERIFY(prefs().value(Preferences::onboardingCompleted).toBool());
    }

    void laterCompletesWithoutASession() {
        Machine m;
        OnboardingFlow flow(m_store.get(), m.env());
        QSignalSpy completed(&flow, &OnboardingFlow::completed);
        flow.finish();
        QCOMPARE(completed.count(), 1);
        QVERIFY(prefs().value(Preferences::onboardingCompleted).toBool());
    }

    // The real window: 720×520, frameless, polled every 0.5 s; completion closes it and runs
    // the callback once.
    void windowPollsAndCloses() {
        Machine m;
        m.trusted = false;
        OnboardingWindow window;
        int completions = 0;
        window.show(
            m_store.get(), [&] { ++completions; }, m.env());
        QVERIFY(window.isOpen());
        QCOMPARE(window.window()->size(), QSize(720, 520));
        QVERIFY(window.window()->flags().testFlag(Qt::FramelessWindowHint));
        QVERIFY(window.window()->errors().isEmpty());
        QVERIFY(window.window()->rootObject());

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
