// SPDX-License-Identifier: MIT
// The freedesktop sound theme through PulseAudio's own player, started detached so the caller
// never waits for the sound (or for a sound server that is not there).
#include "Platform/Sounds.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <mutex>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

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

// Sound files whose player has not ended yet; touched by the caller and by reaper threads. Never
// destroyed, so a reaper that outlives the app's statics finds it still there.
struct Playing {
    std::mutex mutex;
    std::set<QString> names;
};

Playing& playing() {
    static auto* instance = new Playing;
    return *instance;
}

} // namespace

void play(const QString& systemName) {
    const QString file = themeFile(themeSoundFor(systemName));
    if (file.isEmpty())
        return;
    static const QString player = QStandardPaths::findExecutable(QStringLiteral("paplay"));
    if (player.isEmpty())
        return;
    // As a named NSSound does, a sound still playing is not started again: stops of several
    // sessions at once give one chime, not a pile of them.
    {
        std::lock_guard lock(playing().mutex);
        if (!playing().names.insert(file).second)
            return;
    }
    // A missing sound server only fails inside paplay. posix_spawn, unlike the fork behind
    // QProcess, does not copy this process's memory map: a sound costs the caller well under a
    // millisecond however large the app has grown, and the hook answered after it is not held up.
    QByteArray program = QFile::encodeName(player);
    QByteArray sound = QFile::encodeName(file);
    char* argv[] = {program.data(), sound.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, program.constData(), nullptr, nullptr, argv, environ) != 0) {
        std::lock_guard lock(playing().mutex);
        playing().names.erase(file);
        return;
    }
    std::thread([pid, file] {
        waitpid(pid, nullptr, 0);
        std::lock_guard lock(playing().mutex);
        playing().names.erase(file);
    }).detach();
}

} // namespace Sounds
