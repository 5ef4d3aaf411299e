// SPDX-License-Identifier: MIT
// Reads the update feed over HTTP(S) and reports whether a newer version is out. The
// automatic-check preference is the user default Sparkle uses, "SUEnableAutomaticChecks".
#pragma once

#include "Platform/UpdateFramework.h"

#include <QObject>
#include <QPointer>

class QNetworkAccessManager;
class QNetworkReply;

class AppcastUpdater : public QObject, public UpdateFramework {
    Q_OBJECT
public:
    AppcastUpdater(QUrl feed, QString currentVersion, QObject* parent = nullptr);
    ~AppcastUpdater() override;

    bool automaticallyChecks() const override;
    void setAutomaticallyChecks(bool on) override;
    void checkInBackground() override { check(false); }
    void checkNow() override { check(true); }

private:
    void check(bool userInitiated);

    QUrl m_feed;
    QString m_currentVersion;
    QNetworkAccessManager* m_network;
    QPointer<QNetworkReply> m_reply; // one check at a time
};
