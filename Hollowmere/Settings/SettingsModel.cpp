// SPDX-License-Identifier: MIT
#include "SettingsModel.h"

#include "ClaudeIntegration/HooksInstaller.h"
#include "Onboarding/Preferences.h"
#include "Sessions/SessionStore.h"
#include "Shell/UpdaterManager.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSettings>

namespace {

SettingsModel::Environment withDefaults(SettingsModel::Environment env) {
    env.shared = OnboardingFlow::withDefaults(std::move(env.shared));
    if (!env.uninstallHooks)
        env.uninstallHooks = [] { return HooksInstaller::uninstall(); };
    if (!env.restoreBackup)
        env.restoreBackup = [] { return HooksInstaller::restoreBackup(); };
    if (!env.backupPath)
        env.backupPath = [] { return HooksInstaller::backupURL(); };
    if (!env.allowPatterns)
        env.allowPatterns = [] { return HooksInstaller::currentAllowPatterns(); };
    if (!env.removeAllowRule)
        env.removeAllowRule = [](const QString& p) { return HooksInstaller::removeAllowRule(p); };
    if (!env.settingsFileProblem)
        env.settingsFileProblem = [] { return HooksInstaller::settingsFileProblem(); };
    return env;
}

bool installSucceeded(const QString& status) {
    return status.startsWith(QLatin1String("installed hooks")) ||
           status.startsWith(QLatin1String("ok:"));
}

} // namespace

SettingsModel::SettingsModel(SessionStore* sessions, UpdaterManager* updater, Environment env,
                             QObject* parent)
    : QObject(parent), m_env(withDefaults(std::move(env))), m_sessions(sessions),
      m_updater(updater) {
    m_startedWithAccessibility = m_env.shared.accessibilityTrusted();
    if (m_updater)
        connect(m_updater, &UpdaterManager::changed, this, &SettingsModel::updatesChanged);
    refresh();
}

SettingsModel::~SettingsModel() = default;

QVariantMap SettingsModel::texts() const {
    return {
        {"title", QStringLiteral("Settings")},
        {"close", QStringLiteral("Close")},
        {"soundsTitle", QStringLiteral("Sounds")},
        {"soundsDetail", QStringLiteral("Play a chime when Claude finishes a task or asks for "
                                        "permission.")},
        {"launchTitle", QStringLiteral("Start at login")},
        {"launchDetail", QStringLiteral("Always have Hollowmere running, ready to react.")},
        {"replayTitle", QStringLiteral("Replay onboarding")},
        {"replayDetail", QStringLiteral("Run the welcome flow again from the start.")},
        {"replay", QStringLiteral("Replay")},
        {"accessibilityTitle", QStringLiteral("Accessibility access")},
        {"accessibilityDetail", QStringLiteral("Required so the notch can focus your terminal "
                                               "window when you click a session.")},
        {"openSystemSettings", QStringLiteral("Open System Settings")},
        {"restart", QStringLiteral("Restart Hollowmere")},
        {"restartNote", QStringLiteral("Granted ✓ — but macOS only wires this up at launch. "
                                       "Restart Hollowmere for it to take effect.")},
        {"granted", QStringLiteral("Granted")},
        {"hookTitle", QStringLiteral("Hook integration")},
        {"install", QStringLiteral("Install hooks")},
        {"uninstall", QStringLiteral("Uninstall hooks")},
        {"restoreTitle", QStringLiteral("Restore original settings.json")},
        {"restoreDetail", QStringLiteral("Replaces ~/.claude/settings.json with the backup we "
                                         "made before installing.")},
        {"restore", QStringLiteral("Restore")},
        {"rulesIntro", QStringLiteral("Patterns you've auto-approved with the “Always” button. "
                                      "Hollowmere will skip the prompt for these tools.")},
        {"rulesHeader", QStringLiteral("Allowed rules")},
        {"revoke", QStringLiteral("Revoke")},
        {"noRules", QStringLiteral("No allowed rules — they'll show up here once you tap Always "
                                   "on a permission prompt.")},
        {"cancel", QStringLiteral("Cancel")},
        {"appName", QStringLiteral("Hollowmere")},
        {"tagLine", QStringLiteral("Claude Code, right under your camera notch.")},
        {"quit", QStringLiteral("Quit Hollowmere")},
        {"updatesTitle", QStringLiteral("Updates")},
        {"automaticUpdates", QStringLiteral("Check for updates automatically")},
        {"checkNow", QStringLiteral("Check for Updates…")},
        {"releaseNotes", QStringLiteral("What's new")},
    };
}

QString SettingsModel::versionLine() const {
    return QStringLiteral("Hollowmere · v") + QCoreApplication::applicationVersion();
}

QString SettingsModel::versionText() const {
    return QStringLiteral("Version ") + QCoreApplication::applicationVersion();
}

QStringList SettingsModel::tabs() const {
    return {QStringLiteral("General"), QStringLiteral("Permissions"), QStringLiteral("Connection"),
            QStringLiteral("About")};
}

QStringList SettingsModel::tabIcons() const {
    return {QStringLiteral("slider.horizontal.3"), QStringLiteral("lock.shield"),
            QStringLiteral("terminal"), QStringLiteral("info.circle")};
}

void SettingsModel::setCurrentTab(int tab) {
    if (tab == m_currentTab || tab < general || tab > about)
        return;
    m_currentTab = tab;
    emit currentTabChanged();
    refresh();
}

bool SettingsModel::soundsEnabled() const {
    return Preferences::sounds();
}

void SettingsModel::setSoundsEnabled(bool on) {
    if (on == soundsEnabled())
        return;
    QSettings().setValue(QLatin1String(Preferences::soundsEnabled), on);
    emit changed();
}

void SettingsModel::setStartAtLogin(bool on) {
    if (on)
        m_env.shared.installLaunchAgent();
    else
        m_env.shared.uninstallLaunchAgent();
    refresh();
}

QString SettingsModel::hookStatusText() const {
    return m_hooksInstalled
               ? QStringLiteral("Claude Code is wired up to Hollowmere.")
               : QStringLiteral("Claude Code can't reach Hollowmere until we install the hook.");
}

QString SettingsModel::confirmTitle() const {
    switch (m_confirmation) {
    case uninstallHooks:
        return QStringLiteral("Uninstall Hollowmere hooks from Claude Code?");
    case restoreBackup:
        return QStringLiteral("Restore Claude Code settings from backup?");
    case none:
        break;
    }
    return {};
}

QString SettingsModel::confirmMessage() const {
    switch (m_confirmation) {
    case uninstallHooks:
        return QStringLiteral("Claude Code will stop talking to Hollowmere. Your other hooks are "
                              "left untouched.");
    case restoreBackup:
        return QStringLiteral("Your current ~/.claude/settings.json will be overwritten. The "
                              "backup file will be removed.");
    case none:
        break;
    }
    return {};
}

QString SettingsModel::confirmLabel() const {
    switch (m_confirmation) {
    case uninstallHooks:
        return QStringLiteral("Uninstall");
    case restoreBackup:
        return QStringLiteral("Restore");
    case none:
        break;
    }
    return {};
}

void SettingsModel::refresh() {
    m_startAtLogin = m_env.shared.launchAgentInstalled();
    m_accessibilityGranted = m_env.shared.accessibilityTrusted();
    m_hooksInstalled = m_env.shared.hooksInstalled();
    m_hookPathText =
        m_env.shared.hookBinaryPath().value_or(QStringLiteral("(hook binary missing)"));
    m_backupExists = QFileInfo::exists(m_env.backupPath());
    m_allowPatterns = m_env.allowPatterns();
    // Why the file cannot be rewritten, else what the last install from here said went wrong.
    m_problemText = m_env.settingsFileProblem().value_or(
        installSucceeded(m_lastInstallStatus) ? QString() : m_lastInstallStatus);
    emit changed();
}

void SettingsModel::replayOnboarding() {
    QSettings defaults;
    defaults.remove(QLatin1String(Preferences::onboardingCompleted));
    defaults.remove(QLatin1String(Preferences::onboardingResumeAt));
    defaults.sync();
    emit replayRequested();
}

void SettingsModel::openAccessibilitySettings() {
    m_env.shared.openUrl(QUrl(QLatin1String(OnboardingFlow::accessibilitySettingsUrl)));
}

void SettingsModel::restartForAccessibility() {
    m_env.shared.relaunch();
}

void SettingsModel::installHooks() {
    m_lastInstallStatus = m_env.shared.installHooks();
    qInfo("Hollowmere: %s", qPrintable(m_lastInstallStatus));
    afterEdit();
}

void SettingsModel::setAskWhen(int choice) {
    if (choice == askWhen() || choice < int(HooksInstaller::AskWhen::everyTool) ||
        choice > int(HooksInstaller::AskWhen::claudeAsks))
        return;
    m_env.shared.setAskWhen(HooksInstaller::AskWhen(choice));
    afterEdit();
}

void SettingsModel::requestUninstall() {
    setConfirmation(uninstallHooks);
}

void SettingsModel::requestRestore() {
    setConfirmation(restoreBackup);
}

void SettingsModel::confirm() {
    const Confirmation confirmed = m_confirmation;
    setConfirmation(none);
    if (confirmed == uninstallHooks)
        m_env.uninstallHooks();
    else if (confirmed == restoreBackup)
        m_env.restoreBackup();
    else
        return;
    m_lastInstallStatus.clear();
    afterEdit();
}

void SettingsModel::cancelConfirmation() {
    setConfirmation(none);
}

void SettingsModel::revoke(int index) {
    if (index < 0 || index >= m_allowPatterns.size())
        return;
    m_env.removeAllowRule(m_allowPatterns.at(index));
    afterEdit();
}

void SettingsModel::quit() {
    emit quitRequested();
}

void SettingsModel::close() {
    setConfirmation(none);
    emit closeRequested();
}

void SettingsModel::setConfirmation(Confirmation confirmation) {
    if (confirmation == m_confirmation)
        return;
    m_confirmation = confirmation;
    emit confirmationChanged();
}

void SettingsModel::afterEdit() {
    if (m_sessions)
        m_sessions->reloadAllowPatterns();
    refresh();
}

bool SettingsModel::updatesAvailable() const {
    return m_updater && m_updater->available();
}

bool SettingsModel::automaticUpdates() const {
    return m_updater && m_updater->automaticallyChecks();
}

void SettingsModel::setAutomaticUpdates(bool on) {
    if (m_updater)
        m_updater->setAutomaticallyChecks(on);
}

QString SettingsModel::updateStateLine() const {
    return m_updater ? m_updater->stateLine() : QString();
}

QString SettingsModel::updateResultLine() const {
    return m_updater ? m_updater->resultLine() : QString();
}

QUrl SettingsModel::updateResultLink() const {
    return m_updater ? m_updater->resultLink() : QUrl();
}

void SettingsModel::checkForUpdates() {
    if (m_updater)
        m_updater->checkForUpdates();
}

void SettingsModel::openLink(const QUrl& url) {
    m_env.shared.openUrl(url);
}
