// SPDX-License-Identifier: MIT
#include "StatusMenu.h"

#include "ClaudeIntegration/LaunchAgentService.h"
#include "MenubarIcon.h"
#include "Platform/TrayHost.h"

#include <QCursor>
#include <QSystemTrayIcon>

StatusMenu::StatusMenu(QObject* parent) : QObject(parent) {
    m_menu.setTitle(QStringLiteral("Hollowmere"));
    QAction* settings = m_menu.addAction(QStringLiteral("Settings"));
    settings->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    connect(settings, &QAction::triggered, this, &StatusMenu::settingsRequested);
    m_menu.addSeparator();
    m_launchAgent = m_menu.addAction(QString());
    connect(m_launchAgent, &QAction::triggered, this, &StatusMenu::toggleLaunchAgent);
    m_menu.addSeparator();
    QAction* quit = m_menu.addAction(QStringLiteral("Quit Hollowmere"));
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &StatusMenu::quitRequested);
    // The file may have changed behind our back (another tool, the Settings window).
    connect(&m_menu, &QMenu::aboutToShow, this, &StatusMenu::refreshLaunchAgentItem);
    refreshLaunchAgentItem();
}

StatusMenu::~StatusMenu() {
    delete m_tray;
}

QString StatusMenu::launchAgentTitle(bool installed) {
    return installed ? QStringLiteral("Disable start at login") : QStringLiteral("Start at login");
}

void StatusMenu::refreshLaunchAgentItem() {
    m_launchAgent->setText(launchAgentTitle(LaunchAgentService::isInstalled()));
}

void StatusMenu::toggleLaunchAgent() {
    if (LaunchAgentService::isInstalled())
        LaunchAgentService::uninstall();
    else
        LaunchAgentService::install();
    refreshLaunchAgentItem();
}

void StatusMenu::start() {
    m_host = makeTrayHost();
    m_settle.setSingleShot(true);
    m_settle.setInterval(250);
    connect(&m_settle, &QTimer::timeout, this, &StatusMenu::followTrayHost);
    connect(m_host.get(), &TrayHost::changed, &m_settle, qOverload<>(&QTimer::start));
    followTrayHost();
}

bool StatusMenu::trayShown() const {
    return m_trayShown.value_or(false);
}

void StatusMenu::popup(const QPoint& globalPosition) {
    m_menu.popup(globalPosition);
}

// An icon made while no host was there never docks later, and one made for a host that went may
// not find the next: each change starts over with a fresh icon.
void StatusMenu::followTrayHost() {
    const bool available = m_host->available();
    delete m_tray;
    if (available) {
        m_tray = new QSystemTrayIcon(MenubarIcon::icon());
        m_tray->setToolTip(QStringLiteral("Hollowmere"));
        m_tray->setContextMenu(&m_menu);
        // A plain click opens the menu too, as a status item's does.
        connect(m_tray, &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger)
                        m_menu.popup(QCursor::pos());
                });
        m_tray->show();
    }
    if (available == m_trayShown)
        return;
    m_trayShown = available;
    qInfo("Hollowmere: %s", available ? "tray icon shown"
                                      : "no tray host; the menu opens from a right-click on the "
                                        "notch");
    emit trayShownChanged(available);
}
