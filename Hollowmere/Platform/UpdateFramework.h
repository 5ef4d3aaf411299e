// SPDX-License-Identifier: MIT
// Software updates, as far as the app drives them: the automatic-check preference, a quiet
// background check and a check the user asked for. macOS: Sparkle 2, loaded from the bundle's
// Frameworks folder (it shows its own windows). Linux: the same feed read with Qt's network
// stack; what it finds is reported, and packages update through the package manager.
#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

struct UpdateCheckResult {
    enum class Outcome { upToDate, newer, failed };
    Outcome outcome = Outcome::upToDate;
    QString version; // the newer version
    QUrl link;       // where to read about it
    QString error;
    bool userInitiated = false;
};

class UpdateFramework {
public:
    virtual ~UpdateFramework() = default;
    virtual bool automaticallyChecks() const = 0;
    virtual void setAutomaticallyChecks(bool on) = 0;
    virtual void checkInBackground() = 0;
    virtual void checkNow() = 0;
    // Set by the owner; frameworks with their own interface never call it.
    std::function<void(const UpdateCheckResult&)> reported;
};

// Sparkle on macOS when bundled, the feed reader on Linux when a feed is set; none otherwise.
std::unique_ptr<UpdateFramework> loadUpdateFramework(const QUrl& feed,
                                                     const QString& currentVersion);
