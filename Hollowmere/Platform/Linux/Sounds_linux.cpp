// SPDX-License-Identifier: MIT
// The freedesktop sound theme through PulseAudio's own player, started detached so the caller
// never waits for the sound (or for a sound server that is not there).
#include "Platform/Sounds.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace Sounds {

namespace {

// macOS system sound names and the freedesktop theme sound closest in meaning.
QString themeSoundFor(const QString& systemName) {
    static const std::pair<const char*, const char*> table[] = {
        {"Glass", "complete"},
        {"Ping", "message"},
        {"Tink", "bell"},
        {"Pop", "bell"},
        {"Hero", "complete"},
        {"Funk", "dialog-warning"},
        {"Basso", "dialog-error"},
        {"Sosumi", "dialog-warning"},
        {"Submarine", "message-new-instant"},
    };
    for (const auto& [mac, theme] : table) {
        if (systemName == QLatin1String(mac))
            return QString::fromLatin1(theme);
    }
    return systemName.toLower();
}

QString themeFile(const QString& sound) {
    const QStringList roots =
        QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("sounds"),
                                  QStandardPaths::LocateDirectory);
    for (const QString& root : roots) {
        for (const char* ext : {".oga", ".ogg", ".wav"}) {
            const QString path =
                root + QStringLiteral("/freedesktop/stereo/") + sound + QLatin1String(ext);
            if (QFileInfo::exists(path))
                return path;
        }
    }
    return {};
}

} // namespace

void play(const QString& systemName) {
    const QString file = themeFile(themeSoundFor(systemName));
    if (file.isEmpty())
        return;
    static const QString player = QStandardPaths::findExecutable(QStringLiteral("paplay"));
    if (player.isEmpty())
        return;
    // Detached: no child to reap, and a missing sound server only fails inside paplay.
    QProcess::startDetached(player, {file});
}

} // namespace Sounds
