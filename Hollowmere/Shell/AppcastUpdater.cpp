// SPDX-License-Identifier: MIT
#include "AppcastUpdater.h"

#include "Appcast.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSettings>

namespace {
constexpr char automaticKey[] = "SUEnableAutomaticChecks";
constexpr int timeoutMs = 30000;
constexpr qint64 largestFeed = 4 << 20;
} // namespace

AppcastUpdater::AppcastUpdater(QUrl feed, QString currentVersion, QObject* parent)
    : QObject(parent), m_feed(std::move(feed)), m_currentVersion(std::move(currentVersion)),
      m_network(new QNetworkAccessManager(this)) {}

AppcastUpdater::~AppcastUpdater() {
    if (m_reply)
        m_reply->abort();
}

bool AppcastUpdater::automaticallyChecks() const {
    return QSettings().value(QLatin1String(automaticKey), true).toBool();
}

void AppcastUpdater::setAutomaticallyChecks(bool on) {
    QSettings().setValue(QLatin1String(automaticKey), on);
}

void AppcastUpdater::check(bool userInitiated) {
    if (m_reply)
        m_reply->abort();
    QNetworkRequest request(m_feed);
    request.setTransferTimeout(timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply* reply = m_network->get(request);
    m_reply = reply;
    // A feed is a few kilobytes; anything past a few megabytes is not one.
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > largestFeed)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, userInitiated] {
        reply->deleteLater();
        if (reply->error() == QNetworkReply::OperationCanceledError && m_reply != reply)
            return; // replaced by a newer check
        UpdateCheckResult result;
        result.userInitiated = userInitiated;
        if (reply->error() != QNetworkReply::NoError) {
            result.outcome = UpdateCheckResult::Outcome::failed;
            result.error = reply->errorString();
        } else {
            const auto items = Appcast::parse(reply->readAll());
            if (items.empty()) {
                result.outcome = UpdateCheckResult::Outcome::failed;
                result.error = QStringLiteral("the update feed could not be read");
            } else if (const auto newer = Appcast::newestAfter(items, m_currentVersion)) {
                result.outcome = UpdateCheckResult::Outcome::newer;
                result.version = newer->displayVersion();
                result.link = newer->link;
            }
        }
        if (result.outcome == UpdateCheckResult::Outcome::failed)
            qInfo("Hollowmere: update check failed: %s", qPrintable(result.error));
        if (reported)
            reported(result);
    });
}
