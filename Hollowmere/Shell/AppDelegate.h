// SPDX-License-Identifier: MIT
// Creates and owns the app's long-lived objects, in start-up order, for the life of the process.
#pragma once

#include <QObject>

#include <memory>

class HookServer;
class SessionScanner;
class SessionStore;

class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // Runs once, on the GUI thread, after the application object exists.
    void applicationDidFinishLaunching();

    SessionStore* sessions() const { return m_sessions.get(); }
    HookServer* server() const { return m_server.get(); }
    SessionScanner* scanner() const { return m_scanner.get(); }

private:
    void installHooksUnlessOnboardingPending();

    // Destroyed in reverse: the scanner and the server go before the store they call into.
    std::unique_ptr<SessionStore> m_sessions;
    std::unique_ptr<HookServer> m_server;
    std::unique_ptr<SessionScanner> m_scanner;
};
