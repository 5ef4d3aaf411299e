// SPDX-License-Identifier: MIT
#include "AppDelegate.h"

#include "ClaudeIntegration/HooksInstaller.h"
#include "ClaudeIntegration/SessionScanner.h"
#include "HookLink/HookServer.h"
#include "Sessions/SessionStore.h"

#include <QSettings>

#include <exception>

AppDelegate::AppDelegate(QObject* parent) : QObject(parent) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    m_sessions = std::make_unique<SessionStore>();
    m_sessions->reloadAllowPatterns();

    installHooksUnlessOnboardingPending();

    m_scanner = std::make_unique<SessionScanner>(m_sessions.get());
    m_scanner->start();

    // Last, so the first hook event finds everything in place. Without the socket the app still
    // shows what the transcripts tell.
    m_server = std::make_unique<HookServer>(m_sessions.get());
    try {
        m_server->start();
    } catch (const std::exception& e) {
        qWarning("Hollowmere: failed to start hook server: %s", e.what());
    }
}

void AppDelegate::installHooksUnlessOnboardingPending() {
    // Hooks are only ever installed after onboarding, never before it; onboarding installs them
    // itself when it completes. `hollowmere hooks install` does it from a terminal.
    const QSettings defaults;
    if (defaults.contains(QStringLiteral("onboarding.resumeAt")) ||
        !defaults.value(QStringLiteral("onboarding.completed"), false).toBool()) {
        qInfo("Hollowmere: onboarding not completed; hooks left as they are");
        return;
    }
    qInfo("Hollowmere: %s", qPrintable(HooksInstaller::installIfNeeded()));
}
