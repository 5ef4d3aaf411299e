// SPDX-License-Identifier: MIT
// The update feed Sparkle reads (an RSS "appcast"), read here too so Linux can say when a newer
// version is out.
#pragma once

#include <QString>
#include <QUrl>

#include <optional>
#include <vector>

namespace Appcast {

struct Item {
    QString title;
    QString version;      // sparkle:version (the build the feed compares)
    QString shortVersion; // sparkle:shortVersionString (what people read), may be empty
    QUrl link;            // release page: <link>, else the release notes, else the download
    QString displayVersion() const { return shortVersion.isEmpty() ? version : shortVersion; }
};

// The feed's items that name a version; empty for anything that is not a readable feed.
std::vector<Item> parse(const QByteArray& xml);

// Sparkle's order of versions: numbers compare as numbers, a letter part marks a pre-release
// ("1.0b2" < "1.0" < "1.0.1"). Negative, zero or positive as a is older, equal or newer.
int compareVersions(const QString& a, const QString& b);

// The newest item newer than `current`, if any.
std::optional<Item> newestAfter(const std::vector<Item>& items, const QString& current);

} // namespace Appcast
