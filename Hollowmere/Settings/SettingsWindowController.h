// SPDX-License-Identifier: MIT
// Owns the one settings window. Bound to the session store at start-up; asked to show before
// that, it logs and shows nothing. Showing it again raises the open window.
#pragma once

#include "SettingsModel.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>

class QQuickView;
class SessionStore;
class UpdaterManager;

class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    explicit SettingsWindowController(QObject* parent = nullptr);
    ~SettingsWindowController() override;

    void bind(SessionStore* sessions, UpdaterManager* updater, SettingsModel::Environment env = {});
    void show();
    void close();
    bool isOpen() const;
    SettingsModel* model() const { return m_model.get(); }
    QQuickView* window() const { return m_window.get(); }

signals:
    void replayRequested();
    void quitRequested();

private:
    // While the window is open, edits by others (`hollowmere rules add`, Claude Code, an
    // editor) show at once.
    void watchSettingsFile(bool watch);

    QPointer<SessionStore> m_sessions;
    QPointer<UpdaterManager> m_updater;
    SettingsModel::Environment m_env;
    bool m_bound = false;
    std::unique_ptr<SettingsModel> m_model;
    std::unique_ptr<QQuickView> m_window;
    QFileSystemWatcher m_watcher;
    QTimer m_settle; // an atomic replace is several events
};
