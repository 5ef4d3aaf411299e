// SPDX-License-Identifier: MIT
#include "AppDelegate.h"

#include "ClaudeIntegration/HooksInstaller.h"
#include "ClaudeIntegration/SessionScanner.h"
#include "HookLink/HookServer.h"
#include "Notch/NotchController.h"
#include "Onboarding/OnboardingFlow.h"
#include "Onboarding/OnboardingWindow.h"
#include "Onboarding/Preferences.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/AppActivation.h"
#include "Platform/Sounds.h"
#include "Sessions/SessionStore.h"
#include "Settings/SettingsWindowController.h"
#include "StatusMenu.h"
#include "UpdaterManager.h"

#include <QCoreApplication>
#include <QSettings>

#include <exception>

StartupPlan planStartup(bool resumeAtPresent, bool completed,
                        const std::function<bool()>& everythingAlreadySetUp) {
    StartupPlan plan;
    if (resumeAtPresent) {
        plan.showOnboarding = true;
        return plan;
    }
    if (!completed && everythingAlreadySetUp()) {
        plan.markCompleted = true;
        completed = true;
    }
    plan.showOnboarding = !completed;
    plan.installHooksNow = completed;
    return plan;
}

AppDelegate::AppDelegate(QObject* parent) : QObject(parent) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    // 1. An accessory until a window of ours opens; whether Accessibility is granted yet is
    // the onboarding's to read when it opens.
    AppActivation::setRegular(false);
    Preferences::reportUnreadable();
    qInfo("Hollowmere: Accessibility %s",
          AccessibilityTrust::isTrusted(false) ? "granted" : "not granted");

    // 2. The store, with the user's allow rules; the chime only while sounds are on.
    SessionStore::Environment storeEnv;
    storeEnv.playSound = [](const QString& name) {
        if (Preferences::sounds())
            Sounds::play(name);
    };
    m_sessions = std::make_unique<SessionStore>(std::move(storeEnv));
    m_sessions->reloadAllowPatterns();
    m_sessions->watchAllowPatterns();

    // 3. The notch controller.
    m_notchController = std::make_unique<NotchController>(m_sessions.get());
    m_notchController->start();

    // 4. and 5. Onboarding, or the hooks at once.
    m_onboarding = std::make_unique<OnboardingWindow>();
    decideAboutOnboarding();

    // 6. The transcripts.
    m_scanner = std::make_unique<SessionScanner>(m_sessions.get());
    m_scanner->start();

    // 7. Last, so the first hook event finds everything in place. Without the socket the app
    // still shows what the transcripts tell.
    m_server = std::make_unique<HookServer>(m_sessions.get());
    try {
        m_server->start();
    } catch (const std::exception& e) {
        qWarning("Hollowmere: failed to start hook server: %s", e.what());
    }

    startShell();
}

void AppDelegate::decideAboutOnboarding() {
    QSettings defaults;
    const StartupPlan plan =
        planStartup(defaults.contains(QLatin1String(Preferences::onboardingResumeAt)),
                    defaults.value(QLatin1String(Preferences::onboardingCompleted), false).toBool(),
                    [] { return OnboardingFlow::everythingAlreadySetUp(); });
    if (plan.markCompleted)
        defaults.setValue(QLatin1String(Preferences::onboardingCompleted), true);
    if (plan.installHooksNow)
        qInfo("Hollowmere: %s", qPrintable(HooksInstaller::installIfNeeded()));
    // Hooks are installed only once onboarding completes, never before it.
    if (plan.showOnboarding)
        QMetaObject::invokeMethod(this, &AppDelegate::showOnboarding, Qt::QueuedConnection);
}

void AppDelegate::showOnboarding() {
    m_onboarding->show(m_sessions.get(), [] {
        qInfo("Hollowmere: %s", qPrintable(HooksInstaller::installIfNeeded()));
    });
}

void AppDelegate::startShell() {
    m_settings = std::make_unique<SettingsWindowController>();
    m_settings->bind(m_sessions.get(), &UpdaterManager::shared());
    connect(m_settings.get(), &SettingsWindowController::replayRequested, this, [this] {
        m_settings->close();
        showOnboarding();
    });
    connect(m_settings.get(), &SettingsWindowController::quitRequested, this, &AppDelegate::quit);

    m_statusMenu = std::make_unique<StatusMenu>();
    connect(m_statusMenu.get(), &StatusMenu::settingsRequested, this, &AppDelegate::showSettings);
    connect(m_statusMenu.get(), &StatusMenu::quitRequested, this, &AppDelegate::quit);
    // Without a tray the notch is the only place the menu can hang from.
    connect(m_notchController.get(), &NotchController::contextMenuRequested, this,
            [this](QPoint at) {
                if (!m_statusMenu->trayShown())
                    m_statusMenu->popup(at);
            });
    m_statusMenu->start();
}

void AppDelegate::showSettings() {
    m_settings->show();
}

void AppDelegate::quit() {
    // Leave the event loop; every file is written whole by then (all writes are synchronous
    // and atomic), and preferences are flushed as their objects go.
    QCoreApplication::quit();
}
