// SPDX-License-Identifier: MIT
#include "UpdaterManager.h"

#include <QCoreApplication>
#include <QPointer>

#ifndef HOLLOWMERE_APPCAST_URL
#define HOLLOWMERE_APPCAST_URL ""
#endif

UpdaterManager::UpdaterManager(std::unique_ptr<UpdateFramework> framework, int firstCheckDelayMs,
                               QObject* parent)
    : QObject(parent), m_framework(std::move(framework)) {
    if (!m_framework)
        return;
    m_framework->reported = [self = QPointer(this)](const UpdateCheckResult& result) {
        if (self)
            self->report(result);
    };
    if (m_framework->automaticallyChecks()) {
        m_firstCheck.setSingleShot(true);
        m_firstCheck.setInterval(firstCheckDelayMs);
        connect(&m_firstCheck, &QTimer::timeout, this,
                [this] { m_framework->checkInBackground(); });
        m_firstCheck.start();
    }
}

UpdaterManager::~UpdaterManager() = default;

UpdaterManager& UpdaterManager::shared() {
    static QPointer<UpdaterManager> instance;
    if (!instance) {
        const QUrl feed(QStringLiteral(HOLLOWMERE_APPCAST_URL));
        instance =
            new UpdaterManager(loadUpdateFramework(feed, QCoreApplication::applicationVersion()),
                               3000, QCoreApplication::instance());
    }
    return *instance;
}

bool UpdaterManager::automaticallyChecks() const {
    return m_framework && m_framework->automaticallyChecks();
}

void UpdaterManager::setAutomaticallyChecks(bool on) {
    if (!m_framework || m_framework->automaticallyChecks() == on)
        return;
    m_framework->setAutomaticallyChecks(on);
    emit changed();
}

QString UpdaterManager::stateLine() const {
    if (!m_framework) {
#ifdef Q_OS_MACOS
        return {};
#else
        return QStringLiteral("Updates come through your package manager.");
#endif
    }
    return automaticallyChecks()
               ? QStringLiteral("Hollowmere checks for updates in the background.")
               : QStringLiteral("Automatic update checks are disabled.");
}

void UpdaterManager::checkForUpdates() {
    if (m_framework)
        m_framework->checkNow();
}

void UpdaterManager::report(const UpdateCheckResult& result) {
    using Outcome = UpdateCheckResult::Outcome;
    if (result.outcome != Outcome::newer && !result.userInitiated)
        return; // a quiet check only ever speaks up for a newer version
    switch (result.outcome) {
    case Outcome::newer:
        m_resultLine = QStringLiteral("Hollowmere %1 is available. Update it through your "
                                      "package manager.")
                           .arg(result.version);
        m_resultLink = result.link;
        break;
    case Outcome::upToDate:
        m_resultLine = QStringLiteral("Hollowmere %1 is the latest version.")
                           .arg(QCoreApplication::applicationVersion());
        m_resultLink.clear();
        break;
    case Outcome::failed:
        m_resultLine = QStringLiteral("Couldn't check for updates: %1").arg(result.error);
        m_resultLink.clear();
        break;
    }
    emit changed();
}
