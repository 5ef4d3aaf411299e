// SPDX-License-Identifier: MIT
// One running app per user. The first launch holds a lock file for its whole life and listens on
// a socket beside it; a later launch finds the lock held, asks the running one to show Settings
// and exits. A lock or socket left by a crashed instance is stale and taken over.
#pragma once

#include <QLockFile>
#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;

class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Role {
        primary,   // this process is the one instance (or could not tell: it runs anyway)
        forwarded, // the running instance was asked to show Settings
        unanswered // another instance holds the lock but does not answer
    };

    // `directory`: where the lock and socket live; by default the user's runtime folder.
    explicit SingleInstance(QString directory = defaultDirectory(), QObject* parent = nullptr);
    ~SingleInstance() override;

    // Needs no application object, so a second launch leaves before creating one.
    Role claim();
    // Starts answering later launches; call once the application object exists.
    bool listen();

    static QString defaultDirectory();
    QString socketPath() const;

signals:
    void settingsRequested();

private:
    void serve();

    QString m_directory;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer* m_server = nullptr;
};
