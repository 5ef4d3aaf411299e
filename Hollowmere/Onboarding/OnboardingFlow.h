// SPDX-License-Identifier: MIT
// The first-run flow's state: welcome, connecting to Claude Code, permissions and preferences,
// and a live demo that waits for a first session. Every text the steps show is here, so the
// views only lay out. Main thread.
#pragma once

#include "ClaudeIntegration/HooksInstaller.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqml.h>

#include <functional>
#include <optional>

class SessionStore;

class OnboardingFlow : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the onboarding window")
    Q_PROPERTY(Step step READ step NOTIFY stepChanged)
    Q_PROPERTY(int stepCount READ stepCount CONSTANT)
    Q_PROPERTY(bool canGoBack READ canGoBack NOTIFY stepChanged)
    Q_PROPERTY(QVariantMap texts READ texts CONSTANT)

    Q_PROPERTY(bool hooksInstalled READ hooksInstalled NOTIFY statusChanged)
    Q_PROPERTY(bool launchAgentInstalled READ launchAgentInstalled NOTIFY statusChanged)
    Q_PROPERTY(bool accessibilityGranted READ accessibilityGranted NOTIFY statusChanged)
    Q_PROPERTY(bool startedWithAccessibility READ startedWithAccessibility CONSTANT)
    Q_PROPERTY(AccessibilityState accessibilityState READ accessibilityState NOTIFY statusChanged)
    Q_PROPERTY(
        bool soundsEnabled READ soundsEnabled WRITE setSoundsEnabled NOTIFY soundsEnabledChanged)

    Q_PROPERTY(QString hookPathText READ hookPathText NOTIFY statusChanged)
    Q_PROPERTY(QStringList hookEventNames READ hookEventNames NOTIFY askWhenChanged)
    Q_PROPERTY(QVariantList askWhenChoices READ askWhenChoices CONSTANT)
    Q_PROPERTY(QString askWhenTitle READ askWhenTitle CONSTANT)
    Q_PROPERTY(int askWhen READ askWhen WRITE setAskWhen NOTIFY askWhenChanged)
    Q_PROPERTY(QString hooksPrimaryLabel READ hooksPrimaryLabel NOTIFY hooksStepChanged)
    Q_PROPERTY(QString installStatus READ installStatus NOTIFY hooksStepChanged)

    Q_PROPERTY(QString permissionsContinueLabel READ permissionsContinueLabel NOTIFY statusChanged)
    Q_PROPERTY(bool permissionsContinueEnabled READ permissionsContinueEnabled NOTIFY statusChanged)

    Q_PROPERTY(int sessionCount READ sessionCount NOTIFY sessionCountChanged)
    Q_PROPERTY(bool sessionSeen READ sessionSeen NOTIFY sessionCountChanged)
    Q_PROPERTY(QString demoTitle READ demoTitle NOTIFY sessionCountChanged)
    Q_PROPERTY(QString demoStatus READ demoStatus NOTIFY sessionCountChanged)
    Q_PROPERTY(QString demoCountText READ demoCountText NOTIFY sessionCountChanged)
    Q_PROPERTY(QString finishLabel READ finishLabel NOTIFY sessionCountChanged)
    Q_PROPERTY(QStringList terminals READ terminals CONSTANT)

public:
    enum Step { welcome = 0, hooks = 1, permissions = 2, demo = 3 };
    Q_ENUM(Step)
    // Capitalised because QML only looks up enum keys that are.
    enum AccessibilityState { NotGranted, Granted, GrantedNeedsRestart };
    Q_ENUM(AccessibilityState)

    // Seams for tests; an empty member takes the real service.
    struct Environment {
        std::function<bool()> hooksInstalled;
        std::function<QString()> installHooks;
        std::function<std::optional<QString>()> hookBinaryPath;
        std::function<bool()> launchAgentInstalled;
        std::function<bool()> installLaunchAgent;
        std::function<bool()> uninstallLaunchAgent;
        std::function<bool()> accessibilityTrusted;
        std::function<void()> relaunch;
        std::function<void(const QUrl&)> openUrl;
        std::function<HooksInstaller::AskWhen()> askWhen;
        std::function<bool(HooksInstaller::AskWhen)> setAskWhen;
        std::function<QStringList()> managedEventNames;
    };

    static constexpr int stepTotal = 4;
    static constexpr char accessibilitySettingsUrl[] =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";

    // Reads the three status values now; resumes at "onboarding.resumeAt" (and removes it).
    explicit OnboardingFlow(SessionStore* sessions, Environment env = {},
                            QObject* parent = nullptr);
    ~OnboardingFlow() override;

    // Hooks registered, launch agent file present, Accessibility granted: checked in that order.
    static bool everythingAlreadySetUp(const Environment& env = {});
    static Environment withDefaults(Environment env);

    Step step() const { return m_step; }
    int stepCount() const { return stepTotal; }
    bool canGoBack() const { return m_step != welcome; }
    QVariantMap texts() const;

    bool hooksInstalled() const { return m_hooksInstalled; }
    bool launchAgentInstalled() const { return m_launchAgentInstalled; }
    bool accessibilityGranted() const { return m_accessibilityGranted; }
    bool startedWithAccessibility() const { return m_startedWithAccessibility; }
    AccessibilityState accessibilityState() const {
        return accessibilityStateFor(m_accessibilityGranted, m_startedWithAccessibility);
    }
    // The trust only takes effect in a process started after it was granted.
    static AccessibilityState accessibilityStateFor(bool granted, bool startedWith);
    bool soundsEnabled() const;
    void setSoundsEnabled(bool on);

    QString hookPathText() const;
    QStringList hookEventNames() const { return m_env.managedEventNames(); }
    // When Claude Code asks Hollowmere: each choice's label and what it means, in the order of
    // HooksInstaller::AskWhen. The settings window offers the same choice.
    static QVariantList askWhenChoices();
    static QString askWhenTitle();
    int askWhen() const { return int(m_env.askWhen()); }
    void setAskWhen(int choice);
    QString hooksPrimaryLabel() const;
    QString installStatus() const { return m_installStatus; }

    QString permissionsContinueLabel() const;
    bool permissionsContinueEnabled() const;

    int sessionCount() const { return m_sessionCount; }
    bool sessionSeen() const { return m_sessionCount > 0; }
    QString demoTitle() const;
    QString demoStatus() const;
    QString demoCountText() const;
    QString finishLabel() const;
    QStringList terminals() const;

    Q_INVOKABLE void advance();
    Q_INVOKABLE void goBack();
    // Re-reads the three status values; each property changes only when its value did.
    Q_INVOKABLE void refreshStatus();
    // The hooks step's primary button: installs unless they were there on arrival, then moves on.
    Q_INVOKABLE void hooksPrimaryAction();
    Q_INVOKABLE void setStartAtLogin(bool on);
    Q_INVOKABLE void openAccessibilitySettings();
    // Remembers this step for the next start, then restarts the app.
    Q_INVOKABLE void restartForAccessibility();
    // The demo step's button: onboarding is done, with or without a session.
    Q_INVOKABLE void finish();

signals:
    void stepChanged();
    void statusChanged();
    void hooksStepChanged();
    void soundsEnabledChanged();
    void askWhenChanged();
    void sessionCountChanged();
    void completed();

private:
    void setStep(Step step);
    void updateSessionCount();

    Environment m_env;
    QPointer<SessionStore> m_sessions;
    Step m_step = welcome;
    bool m_hooksInstalled = false;
    bool m_launchAgentInstalled = false;
    bool m_accessibilityGranted = false;
    bool m_startedWithAccessibility = false;
    bool m_hooksInstalledOnArrival = false;
    bool m_installedHere = false;
    QString m_installStatus;
    int m_sessionCount = 0;
};
