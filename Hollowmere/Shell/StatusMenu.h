// SPDX-License-Identifier: MIT
// The app's menu: "Settings", the start-at-login item, "Quit Hollowmere". It hangs from the tray
// icon (the status item on macOS) while a tray host is there, and opens anywhere else on request
// (a right-click on the notch when there is no tray).
#pragma once

#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>
#include <optional>

class QSystemTrayIcon;
class TrayHost;

class StatusMenu : public QObject {
    Q_OBJECT
public:
    explicit StatusMenu(QObject* parent = nullptr);
    ~StatusMenu() override;

    // Shows the tray icon now and whenever a tray host appears.
    void start();
    bool trayShown() const;
    void popup(const QPoint& globalPosition);
    QMenu* menu() { return &m_menu; }

    // "Start at login" while the launch agent file is absent, "Disable start at login" while it
    // is there.
    static QString launchAgentTitle(bool installed);

signals:
    void settingsRequested();
    void quitRequested();
    void trayShownChanged(bool shown);

private:
    void refreshLaunchAgentItem();
    void toggleLaunchAgent();
    void followTrayHost();

    QMenu m_menu;
    QAction* m_launchAgent = nullptr;
    QPointer<QSystemTrayIcon> m_tray;
    std::unique_ptr<TrayHost> m_host;
    // Notices come in bursts, and Qt must have seen the old host go before a new icon docks.
    QTimer m_settle;
    std::optional<bool> m_trayShown; // unknown until start()
};
