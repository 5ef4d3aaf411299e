// SPDX-License-Identifier: MIT
// What the settings window shows and does, tab by tab: General (sounds, start at login, replay
// onboarding), Permissions (Accessibility), Connection (the hook entries, the settings backup,
// the allow rules) and About (version, quit, updates). Every text is here; the view lays out.
#pragma once

#include "Onboarding/OnboardingFlow.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqml.h>

#include <functional>
#include <optional>

class SessionStore;
class UpdaterManager;

class SettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the settings window")
    Q_PROPERTY(QVariantMap texts READ texts CONSTANT)
    Q_PROPERTY(QString versionLine READ versionLine CONSTANT)
    Q_PROPERTY(QString versionText READ versionText CONSTANT)
    Q_PROPERTY(QStringList tabs READ tabs CONSTANT)
    Q_PROPERTY(QStringList tabIcons READ tabIcons CONSTANT)
    Q_PROPERTY(int currentTab READ currentTab WRITE setCurrentTab NOTIFY currentTabChanged)

    Q_PROPERTY(bool soundsEnabled READ soundsEnabled WRITE setSoundsEnabled NOTIFY changed)
    Q_PROPERTY(bool startAtLogin READ startAtLogin WRITE setStartAtLogin NOTIFY changed)

    Q_PROPERTY(OnboardingFlow::AccessibilityState accessibilityState READ accessibilityState NOTIFY
                   changed)

    Q_PROPERTY(bool hooksInstalled READ hooksInstalled NOTIFY changed)
    Q_PROPERTY(QString hookStatusText READ hookStatusText NOTIFY changed)
    Q_PROPERTY(QString hookPathText READ hookPathText NOTIFY changed)
    Q_PROPERTY(QString problemText READ problemText NOTIFY changed)
    Q_PROPERTY(bool backupExists READ backupExists NOTIFY changed)
    Q_PROPERTY(QVariantList askWhenChoices READ askWhenChoices CONSTANT)
    Q_PROPERTY(QString askWhenTitle READ askWhenTitle CONSTANT)
    Q_PROPERTY(int askWhen READ askWhen WRITE setAskWhen NOTIFY changed)
    Q_PROPERTY(QStringList allowPatterns READ allowPatterns NOTIFY changed)
    Q_PROPERTY(QString allowedCountText READ allowedCountText NOTIFY changed)

    Q_PROPERTY(bool confirming READ confirming NOTIFY confirmationChanged)
    Q_PROPERTY(QString confirmTitle READ confirmTitle NOTIFY confirmationChanged)
    Q_PROPERTY(QString confirmMessage READ confirmMessage NOTIFY confirmationChanged)
    Q_PROPERTY(QString confirmLabel READ confirmLabel NOTIFY confirmationChanged)

    Q_PROPERTY(bool updatesAvailable READ updatesAvailable CONSTANT)
    Q_PROPERTY(
        bool automaticUpdates READ automaticUpdates WRITE setAutomaticUpdates NOTIFY updatesChanged)
    Q_PROPERTY(QString updateStateLine READ updateStateLine NOTIFY updatesChanged)
    Q_PROPERTY(QString updateResultLine READ updateResultLine NOTIFY updatesChanged)
    Q_PROPERTY(QUrl updateResultLink READ updateResultLink NOTIFY updatesChanged)

public:
    enum Tab { general = 0, permissionsTab = 1, connection = 2, about = 3 };
    Q_ENUM(Tab)
    enum Confirmation { none, uninstallHooks, restoreBackup };
    Q_ENUM(Confirmation)

    // Seams for tests; an empty member takes the real service.
    struct Environment {
        OnboardingFlow::Environment shared; // hooks, launch agent, accessibility, relaunch, URLs
        std::function<bool()> uninstallHooks;
        std::function<bool()> restoreBackup;
        std::function<QString()> backupPath;
        std::function<QStringList()> allowPatterns;
        std::function<bool(const QString&)> removeAllowRule;
        std::function<std::optional<QString>()> settingsFileProblem;
    };

    SettingsModel(SessionStore* sessions, UpdaterManager* updater, Environment env = {},
                  QObject* parent = nullptr);
    ~SettingsModel() override;

    QVariantMap texts() const;
    QString versionLine() const;
    QString versionText() const;
    QStringList tabs() const;
    QStringList tabIcons() const;
    int currentTab() const { return m_currentTab; }
    void setCurrentTab(int tab);

    bool soundsEnabled() const;
    void setSoundsEnabled(bool on);
    bool startAtLogin() const { return m_startAtLogin; }
    void setStartAtLogin(bool on);

    OnboardingFlow::AccessibilityState accessibilityState() const {
        return OnboardingFlow::accessibilityStateFor(m_accessibilityGranted,
                                                     m_startedWithAccessibility);
    }

    bool hooksInstalled() const { return m_hooksInstalled; }
    QString hookStatusText() const;
    QString hookPathText() const { return m_hookPathText; }
    QString problemText() const { return m_problemText; }
    bool backupExists() const { return m_backupExists; }
    QVariantList askWhenChoices() const { return OnboardingFlow::askWhenChoices(); }
    QString askWhenTitle() const { return OnboardingFlow::askWhenTitle(); }
    int askWhen() const { return int(m_env.shared.askWhen()); }
    void setAskWhen(int choice);
    QStringList allowPatterns() const { return m_allowPatterns; }
    QString allowedCountText() const { return QString::number(m_allowPatterns.size()); }

    Confirmation confirmation() const { return m_confirmation; }
    bool confirming() const { return m_confirmation != none; }
    QString confirmTitle() const;
    QString confirmMessage() const;
    QString confirmLabel() const;

    // About: what UpdaterManager says, when there is one.
    bool updatesAvailable() const;
    bool automaticUpdates() const;
    void setAutomaticUpdates(bool on);
    QString updateStateLine() const;
    QString updateResultLine() const;
    QUrl updateResultLink() const;
    Q_INVOKABLE void checkForUpdates();
    Q_INVOKABLE void openLink(const QUrl& url);

    // Re-reads everything the tabs show from the files and the system.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void replayOnboarding();
    Q_INVOKABLE void openAccessibilitySettings();
    Q_INVOKABLE void restartForAccessibility();
    Q_INVOKABLE void installHooks();
    Q_INVOKABLE void requestUninstall();
    Q_INVOKABLE void requestRestore();
    Q_INVOKABLE void confirm();
    Q_INVOKABLE void cancelConfirmation();
    // Removes the pattern at `index`: one occurrence, even when it is listed twice.
    Q_INVOKABLE void revoke(int index);
    Q_INVOKABLE void quit();
    Q_INVOKABLE void close();

signals:
    void changed();
    void currentTabChanged();
    void confirmationChanged();
    void updatesChanged();
    void replayRequested();
    void quitRequested();
    void closeRequested();

private:
    void setConfirmation(Confirmation confirmation);
    // The store answers from its own copy of the allow rules; it follows each edit here.
    void afterEdit();

    Environment m_env;
    QPointer<SessionStore> m_sessions;
    QPointer<UpdaterManager> m_updater;
    int m_currentTab = general;
    bool m_startAtLogin = false;
    bool m_accessibilityGranted = false;
    bool m_startedWithAccessibility = false;
    bool m_hooksInstalled = false;
    QString m_hookPathText;
    QString m_problemText;
    QString m_lastInstallStatus;
    bool m_backupExists = false;
    QStringList m_allowPatterns;
    Confirmation m_confirmation = none;
};
