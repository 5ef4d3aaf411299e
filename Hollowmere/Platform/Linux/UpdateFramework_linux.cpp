// SPDX-License-Identifier: MIT
#include "Platform/UpdateFramework.h"

#include "Shell/AppcastUpdater.h"

std::unique_ptr<UpdateFramework> loadUpdateFramework(const QUrl& feed,
                                                     const QString& currentVersion) {
    if (!feed.isValid() || feed.isEmpty())
        return nullptr;
    return std::make_unique<AppcastUpdater>(feed, currentVersion);
}
