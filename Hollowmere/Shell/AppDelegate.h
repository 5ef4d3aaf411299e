// SPDX-License-Identifier: MIT
// Creates and owns the app's long-lived objects, in start-up order, for the life of the process.
#pragma once

#include <QObject>

#include <functional>
#include <memory>

class HookServer;
class NotchController;
class OnboardingWindow;
class SessionScanner;
class SessionStore;
class SettingsWindowController;
class StatusMenu;

// What start-up does about onboarding, decided from the preferences and the machine.
struct StartupPlan {
    bool showOnboarding = false;
    bool markCompleted = false;   // everything was already in place: onboarding is not needed
    bool installHooksNow = false; // only ever when onboarding is not shown
    friend bool operator==(const StartupPlan&, const StartupPlan&) = default;
};

// "onboarding.resumeAt" present → onboarding; else not completed but everything already set up
// → completed; completed → install at once; otherwise onboarding. The check of the machine runs
// only when its answer matters.
StartupPlan planStartup(bool resumeAtPresent, bool completed,
                        const std::function<bool()>& everythingAlreadySetUp);

class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // Runs once, on the GUI thread, after the application object exists.
    void applicationDidFinishLaunching();

    SessionStore* sessions() const { return m_sessions.get(); }
    HookServer* server() const { return m_server.get(); }
    NotchController* notchController() const { return m_notchController.get(); }
    SessionScanner* scanner() const { return m_scanner.get(); }
    StatusMenu* statusMenu() const { return m_statusMenu.get(); }
    SettingsWindowController* settingsWindow() const { return m_settings.get(); }
    OnboardingWindow* onboardingWindow() const { return m_onboarding.get(); }

public slots:
    void showSettings();
    void showOnboarding();
    void quit();

private:
    void decideAboutOnboarding();
    void startShell();

    // Destroyed in reverse: the scanner, the notch and the server go before the store they call
    // into.
    std::unique_ptr<SessionStore> m_sessions;
    std::unique_ptr<HookServer> m_server;
    std::unique_ptr<NotchController> m_notchController;
    std::unique_ptr<SessionScanner> m_scanner;
    std::unique_ptr<OnboardingWindow> m_onboarding;
    std::unique_ptr<SettingsWindowController> m_settings;
    std::unique_ptr<StatusMenu> m_statusMenu;
};
