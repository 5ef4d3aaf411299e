// SPDX-License-Identifier: MIT
#include "SettingsWindowController.h"

#include "ClaudeIntegration/HooksInstaller.h"
#include "Onboarding/ViewEngine.h"
#include "Platform/AppActivation.h"

#include "Sessions/SessionStore.h"
#include "Shell/UpdaterManager.h"

#include <QDir>
#include <QFileInfo>
#include <QQuickItem>
#include <QQuickView>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(Hollowmere_SettingsPlugin)

SettingsWindowController::SettingsWindowController(QObject* parent) : QObject(parent) {
    m_settle.setSingleShot(true);
    m_settle.setInterval(100);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        if (m_model)
            m_model->refresh();
        watchSettingsFile(isOpen()); // a replaced file is a new one to watch
    });
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_settle,
            qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
}

void SettingsWindowController::watchSettingsFile(bool watch) {
    const QStringList watched = m_watcher.files() + m_watcher.directories();
    if (!watched.isEmpty())
        m_watcher.removePaths(watched);
    if (!watch)
        return;
    const QString file = HooksInstaller::settingsPath();
    if (QFileInfo::exists(file))
        m_watcher.addPath(file);
    // The folder catches a file replaced or created; without the folder yet, its parent.
    QDir folder = QFileInfo(file).absoluteDir();
    while (!folder.exists() && folder.cdUp()) {
    }
    m_watcher.addPath(folder.absolutePath());
}

SettingsWindowController::~SettingsWindowController() {
    // A window still open says it hides as it goes, after the watcher and the timer have gone.
    if (m_window)
        disconnect(m_window.get(), nullptr, this, nullptr);
}

void SettingsWindowController::bind(SessionStore* sessions, UpdaterManager* updater,
                                    SettingsModel::Environment env) {
    m_sessions = sessions;
    m_updater = updater;
    m_env = std::move(env);
    m_bound = true;
}

bool SettingsWindowController::isOpen() const {
    return m_window && m_window->isVisible();
}

void SettingsWindowController::show() {
    if (!m_bound) {
        qWarning("SettingsWindow.show: no sessions store bound");
        return;
    }
    if (!m_window) {
        m_model = std::make_unique<SettingsModel>(m_sessions, m_updater, m_env);
        connect(m_model.get(), &SettingsModel::replayRequested, this,
                &SettingsWindowController::replayRequested);
        connect(m_model.get(), &SettingsModel::quitRequested, this,
                &SettingsWindowController::quitRequested);
        connect(m_model.get(), &SettingsModel::closeRequested, this,
                &SettingsWindowController::close);
        m_window = std::make_unique<QQuickView>();
        m_window->setTitle(QStringLiteral("Hollowmere Settings"));
        m_window->setResizeMode(QQuickView::SizeRootObjectToView);
        ViewEngine::prepare(m_window->engine());
        m_window->setInitialProperties({{"model", QVariant::fromValue(m_model.get())}});
        m_window->setSource(
            QUrl(QStringLiteral("qrc:/qt/qml/Hollowmere/Settings/SettingsView.qml")));
        if (m_window->status() == QQuickView::Error) {
            for (const auto& error : m_window->errors())
                qWarning("Hollowmere: settings view: %s", qPrintable(error.toString()));
        }
        m_window->resize(m_window->initialSize().isValid() ? m_window->initialSize()
                                                           : QSize(620, 640));
        m_window->setMinimumSize(QSize(520, 480));
        connect(m_window.get(), &QWindow::visibleChanged, this, [this](bool visible) {
            watchSettingsFile(visible);
            if (!visible)
                AppActivation::setRegular(false);
        });
        connect(m_window.get(), &QWindow::activeChanged, this, [this] {
            if (m_window && m_window->isActive())
                m_model->refresh(); // the files may have changed while it was in the back
        });
    } else {
        m_model->refresh();
    }
    AppActivation::setRegular(true);
    AppActivation::activate();
    const bool wasShown = m_window->isVisible();
    m_window->show();
    if (wasShown)
        m_window->raise(); // behind other windows, perhaps
    m_window->requestActivate();
}

void SettingsWindowController::close() {
    if (m_window)
        m_window->hide();
}
