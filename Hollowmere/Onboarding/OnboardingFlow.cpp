// SPDX-License-Identifier: MIT
#include "OnboardingFlow.h"

#include "ClaudeIntegration/AppRelauncher.h"
#include "ClaudeIntegration/HooksInstaller.h"
#include "ClaudeIntegration/LaunchAgentService.h"
#include "Platform/AccessibilityTrust.h"
#include "Preferences.h"
#include "Sessions/SessionStore.h"

#include <QDesktopServices>
#include <QSettings>

#include <cstdio>

namespace {

template <typename T> void assignIfChanged(T& member, const T& value, bool& changed) {
    if (member != value) {
        member = value;
        changed = true;
    }
}

} // namespace

OnboardingFlow::Environment OnboardingFlow::withDefaults(Environment env) {
    if (!env.hooksInstalled)
        env.hooksInstalled = [] { return HooksInstaller::isInstalled(); };
    if (!env.installHooks)
        env.installHooks = [] { return HooksInstaller::installIfNeeded(); };
    if (!env.hookBinaryPath)
        env.hookBinaryPath = [] { return HooksInstaller::hookBinaryPath(); };
    if (!env.launchAgentInstalled)
        env.launchAgentInstalled = [] { return LaunchAgentService::isInstalled(); };
    if (!env.installLaunchAgent)
        env.installLaunchAgent = [] { return LaunchAgentService::install(); };
    if (!env.uninstallLaunchAgent)
        env.uninstallLaunchAgent = [] { return LaunchAgentService::uninstall(); };
    if (!env.accessibilityTrusted)
        env.accessibilityTrusted = [] { return AccessibilityTrust::isTrusted(false); };
    if (!env.relaunch)
        env.relaunch = [] { AppRelauncher::relaunch(); };
    if (!env.openUrl)
        env.openUrl = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    if (!env.askWhen)
        env.askWhen = [] { return HooksInstaller::askWhen(); };
    if (!env.setAskWhen)
        env.setAskWhen = [](HooksInstaller::AskWhen c) { return HooksInstaller::setAskWhen(c); };
    if (!env.managedEventNames)
        env.managedEventNames = [] { return HooksInstaller::managedEventNames(); };
    return env;
}

bool OnboardingFlow::everythingAlreadySetUp(const Environment& given) {
    const Environment env = withDefaults(given);
    return env.hooksInstalled() && env.launchAgentInstalled() && env.accessibilityTrusted();
}

OnboardingFlow::OnboardingFlow(SessionStore* sessions, Environment env, QObject* parent)
    : QObject(parent), m_env(withDefaults(std::move(env))), m_sessions(sessions) {
    m_hooksInstalled = m_env.hooksInstalled();
    m_launchAgentInstalled = m_env.launchAgentInstalled();
    m_accessibilityGranted = m_env.accessibilityTrusted();
    m_startedWithAccessibility = m_accessibilityGranted;

    QSettings defaults;
    const QVariant resumeAt = defaults.value(QLatin1String(Preferences::onboardingResumeAt));
    if (resumeAt.isValid()) {
        bool ok = false;
        const int raw = resumeAt.toInt(&ok);
        if (ok && raw >= welcome && raw <= demo)
            m_step = Step(raw);
        defaults.remove(QLatin1String(Preferences::onboardingResumeAt));
    }
    if (m_step == hooks)
        m_hooksInstalledOnArrival = m_hooksInstalled;

    if (m_sessions) {
        connect(m_sessions, &SessionStore::sessionsChanged, this,
                &OnboardingFlow::updateSessionCount);
        m_sessionCount = int(m_sessions->sessions().size());
    }
}

OnboardingFlow::~OnboardingFlow() = default;

QVariantMap OnboardingFlow::texts() const {
    return {
        {"welcomeTitle", QStringLiteral("Welcome to Hollowmere")},
        {"welcomeSubtitle", QStringLiteral("Claude Code, right under your camera notch.")},
        {"getStarted", QStringLiteral("Get started")},
        {"back", QStringLiteral("Back")},
        {"hooksTitle", QStringLiteral("Connect to Claude Code")},
        {"hooksText", QStringLiteral("Hollowmere needs to register a tiny hook so Claude can "
                                     "ping the notch when it wants your attention.")},
        {"settingsFile", QStringLiteral("~/.claude/settings.json")},
        {"reassurance",
         QStringLiteral("We back up your existing settings to "
                        "settings.json.hollowmere-backup before touching anything.")},
        {"featurePermissions", QStringLiteral("Show permission requests inline in the notch.")},
        {"featureQuestions",
         QStringLiteral("Surface Claude's questions without leaving your terminal.")},
        {"featureCelebrate", QStringLiteral("Celebrate when a long-running task finishes.")},
        {"permissionsTitle", QStringLiteral("Permissions & preferences")},
        {"permissionsSubtitle",
         QStringLiteral("Grant access so Hollowmere can jump back to your terminal — and pick how "
                        "it should behave.")},
        {"accessibilityTitle", QStringLiteral("Accessibility access")},
        {"accessibilityDetail", QStringLiteral("Required so the notch can focus your terminal "
                                               "window when you click a session.")},
        {"openSystemSettings", QStringLiteral("Open System Settings")},
        {"granted", QStringLiteral("Granted")},
        {"restartNote", QStringLiteral("Granted ✓ — but macOS only wires this up at launch. "
                                       "Restart Hollowmere for it to take effect.")},
        {"restart", QStringLiteral("Restart Hollowmere")},
        {"launchTitle", QStringLiteral("Start at login")},
        {"launchDetail", QStringLiteral("Always have Hollowmere running, ready to react.")},
        {"soundsTitle", QStringLiteral("Sounds")},
        {"soundsDetail", QStringLiteral("Play a short chime when Claude finishes a task or asks "
                                        "for permission.")},
        {"demoText", QStringLiteral("Open Claude Code in any terminal — your session will appear "
                                    "here as soon as it starts.")},
        {"runAnyOfThese", QStringLiteral("Run any of these:")},
        {"thenType", QStringLiteral("then type")},
        {"command", QStringLiteral("$ claude")},
        {"liveText", QStringLiteral("Your Claude Code session is live in the notch. Anytime "
                                    "Claude needs you, it'll show up.")},
        {"sampleTitle", QStringLiteral("Claude · Edit lib/auth.ts")},
        {"approve", QStringLiteral("Approve")},
        {"deny", QStringLiteral("Deny")},
        {"always", QStringLiteral("Always")},
    };
}

OnboardingFlow::AccessibilityState OnboardingFlow::accessibilityStateFor(bool granted,
                                                                         bool startedWith) {
    if (!granted)
        return NotGranted;
    return startedWith ? Granted : GrantedNeedsRestart;
}

bool OnboardingFlow::soundsEnabled() const {
    return Preferences::sounds();
}

void OnboardingFlow::setSoundsEnabled(bool on) {
    if (on == soundsEnabled())
        return;
    QSettings().setValue(QLatin1String(Preferences::soundsEnabled), on);
    emit soundsEnabledChanged();
}

QString OnboardingFlow::hookPathText() const {
    return m_env.hookBinaryPath().value_or(QStringLiteral("(hook binary missing)"));
}

QString OnboardingFlow::askWhenTitle() {
    return QStringLiteral("Ask in the notch");
}

QVariantList OnboardingFlow::askWhenChoices() {
    return {
        QVariantMap{{"label", QStringLiteral("Before every tool")},
                    {"detail", QStringLiteral("Every tool call waits for you in the notch, even "
                                              "the ones Claude Code would run by itself.")}},
        QVariantMap{{"label", QStringLiteral("Only when Claude Code would ask")},
                    {"detail", QStringLiteral("Only what Claude Code would ask you about comes "
                                              "to the notch; everything else runs as it would "
                                              "without Hollowmere.")}},
    };
}

void OnboardingFlow::setAskWhen(int choice) {
    if (choice == askWhen() || choice < int(HooksInstaller::AskWhen::everyTool) ||
        choice > int(HooksInstaller::AskWhen::claudeAsks))
        return;
    m_env.setAskWhen(HooksInstaller::AskWhen(choice));
    emit askWhenChanged();
    refreshStatus(); // installed hooks moved with the choice
}

QString OnboardingFlow::hooksPrimaryLabel() const {
    if (m_hooksInstalledOnArrival)
        return QStringLiteral("Already installed — Continue");
    if (m_installedHere)
        return QStringLiteral("Installed ✓");
    return QStringLiteral("Install hooks");
}

QString OnboardingFlow::permissionsContinueLabel() const {
    switch (accessibilityState()) {
    case NotGranted:
        return QStringLiteral("Grant Accessibility access to continue");
    case GrantedNeedsRestart:
        return QStringLiteral("Restart Hollowmere to continue");
    case Granted:
        break;
    }
    return QStringLiteral("Continue");
}

bool OnboardingFlow::permissionsContinueEnabled() const {
    return accessibilityState() == Granted;
}

QString OnboardingFlow::demoTitle() const {
    return sessionSeen() ? QStringLiteral("You're all set!") : QStringLiteral("Try it out");
}

QString OnboardingFlow::demoStatus() const {
    return sessionSeen() ? QStringLiteral("Session detected")
                         : QStringLiteral("Waiting for Claude…");
}

QString OnboardingFlow::demoCountText() const {
    if (!sessionSeen())
        return {};
    return QStringLiteral("%1 %2 detected")
        .arg(m_sessionCount)
        .arg(m_sessionCount == 1 ? QStringLiteral("session") : QStringLiteral("sessions"));
}

QString OnboardingFlow::finishLabel() const {
    return sessionSeen() ? QStringLiteral("Open Hollowmere") : QStringLiteral("I'll do this later");
}

QStringList OnboardingFlow::terminals() const {
#ifdef Q_OS_MACOS
    return {QStringLiteral("Terminal"), QStringLiteral("iTerm"), QStringLiteral("Ghostty"),
            QStringLiteral("Cursor")};
#else
    return {QStringLiteral("Terminal"), QStringLiteral("kitty"), QStringLiteral("Ghostty"),
            QStringLiteral("Cursor")};
#endif
}

void OnboardingFlow::setStep(Step step) {
    if (step == m_step)
        return;
    m_step = step;
    if (step == hooks) {
        m_hooksInstalledOnArrival = m_hooksInstalled && !m_installedHere;
        emit hooksStepChanged();
    }
    emit stepChanged();
}

void OnboardingFlow::advance() {
    if (m_step < demo)
        setStep(Step(m_step + 1));
}

void OnboardingFlow::goBack() {
    if (m_step > welcome)
        setStep(Step(m_step - 1));
}

void OnboardingFlow::refreshStatus() {
    bool changed = false;
    assignIfChanged(m_hooksInstalled, m_env.hooksInstalled(), changed);
    assignIfChanged(m_launchAgentInstalled, m_env.launchAgentInstalled(), changed);
    assignIfChanged(m_accessibilityGranted, m_env.accessibilityTrusted(), changed);
    if (changed)
        emit statusChanged();
}

void OnboardingFlow::hooksPrimaryAction() {
    if (m_hooksInstalledOnArrival || m_installedHere) {
        advance();
        return;
    }
    m_installStatus = m_env.installHooks();
    std::fprintf(stdout, "Onboarding install: %s\n", qPrintable(m_installStatus));
    std::fflush(stdout);
    refreshStatus();
    m_installedHere = m_hooksInstalled;
    emit hooksStepChanged();
    advance();
}

void OnboardingFlow::setStartAtLogin(bool on) {
    if (on)
        m_env.installLaunchAgent();
    else
        m_env.uninstallLaunchAgent();
    refreshStatus();
}

void OnboardingFlow::openAccessibilitySettings() {
    m_env.openUrl(QUrl(QLatin1String(accessibilitySettingsUrl)));
}

void OnboardingFlow::restartForAccessibility() {
    QSettings().setValue(QLatin1String(Preferences::onboardingResumeAt), int(m_step));
    m_env.relaunch();
}

void OnboardingFlow::finish() {
    QSettings().setValue(QLatin1String(Preferences::onboardingCompleted), true);
    emit completed();
}

void OnboardingFlow::updateSessionCount() {
    const int count = m_sessions ? int(m_sessions->sessions().size()) : 0;
    if (count == m_sessionCount)
        return;
    m_sessionCount = count;
    emit sessionCountChanged();
}
