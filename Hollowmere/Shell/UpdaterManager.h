// SPDX-License-Identifier: MIT
// The one process-wide updater: starts the platform's update framework, makes one quiet check
// 3 s after first use when automatic checks are on, and gives the About tab its switch, its
// manual check and its lines.
#pragma once

#include "Platform/UpdateFramework.h"

#include <QObject>
#include <QTimer>
#include <QUrl>

#include <memory>

class UpdaterManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool available READ available CONSTANT)
    Q_PROPERTY(bool automaticallyChecks READ automaticallyChecks WRITE setAutomaticallyChecks NOTIFY
                   changed)
    Q_PROPERTY(QString stateLine READ stateLine NOTIFY changed)
    Q_PROPERTY(QString resultLine READ resultLine NOTIFY changed)
    Q_PROPERTY(QUrl resultLink READ resultLink NOTIFY changed)
public:
    // No framework: updates are absent (Sparkle not bundled, or no feed on Linux).
    explicit UpdaterManager(std::unique_ptr<UpdateFramework> framework,
                            int firstCheckDelayMs = 3000, QObject* parent = nullptr);
    ~UpdaterManager() override;

    // Created on first use, with the feed this build was given; lives as long as the application.
    static UpdaterManager& shared();

    bool available() const { return m_framework != nullptr; }
    bool automaticallyChecks() const;
    void setAutomaticallyChecks(bool on);
    QString stateLine() const;
    // What the last check found, when there is something to say: a newer version (background or
    // manual), being up to date or a failure (manual only).
    QString resultLine() const { return m_resultLine; }
    QUrl resultLink() const { return m_resultLink; }

    Q_INVOKABLE void checkForUpdates();

signals:
    void changed();

private:
    void report(const UpdateCheckResult& result);

    std::unique_ptr<UpdateFramework> m_framework;
    QTimer m_firstCheck;
    QString m_resultLine;
    QUrl m_resultLink;
};
