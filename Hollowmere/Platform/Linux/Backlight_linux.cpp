// SPDX-License-Identifier: MIT
#include "Platform/Linux/Backlight_linux.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDebug>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <cmath>

namespace {

int typeRank(const QString& type) {
    if (type == QLatin1String("firmware"))
        return 0;
    if (type == QLatin1String("platform"))
        return 1;
    return 2;
}

QString readText(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(f.read(64)).trimmed();
}

} // namespace

SysfsBacklight::SysfsBacklight(QString root, QString sessionPath)
    : m_root(std::move(root)), m_sessionPath(std::move(sessionPath)) {
    const QStringList names = QDir(m_root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    int bestRank = 3;
    for (const QString& name : names) {
        if (!QFile::exists(m_root + '/' + name + "/max_brightness"))
            continue;
        const int rank = typeRank(readText(m_root + '/' + name + "/type"));
        if (rank < bestRank) {
            bestRank = rank;
            m_device = name;
        }
    }
}

std::optional<long> SysfsBacklight::readNumber(const char* file) const {
    bool ok = false;
    const long value = readText(m_root + '/' + m_device + '/' + QLatin1String(file)).toLong(&ok);
    return ok ? std::optional<long>(value) : std::nullopt;
}

std::optional<float> SysfsBacklight::brightness() {
    if (m_device.isEmpty())
        return std::nullopt;
    // Our own write in flight is the level: reading the folder now would report the old one and
    // look like someone else had turned it back.
    if (m_pending->calls > 0)
        return m_pending->level;
    const auto max = readNumber("max_brightness");
    const auto value = readNumber("brightness");
    if (!max || !value || *max <= 0)
        return std::nullopt;
    return std::clamp(float(*value) / float(*max), 0.0f, 1.0f);
}

bool SysfsBacklight::setBrightness(float value) {
    if (m_device.isEmpty())
        return false;
    const auto max = readNumber("max_brightness");
    if (!max || *max <= 0)
        return false;
    const auto raw = uint(std::lround(double(std::clamp(value, 0.0f, 1.0f)) * double(*max)));
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), m_sessionPath,
        QStringLiteral("org.freedesktop.login1.Session"), QStringLiteral("SetBrightness"));
    call << QStringLiteral("backlight") << m_device << raw;
    // Asynchronous: key repeats must not wait on logind, which writes the folder before it
    // answers.
    ++m_pending->calls;
    m_pending->level = float(raw) / float(*max);
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(call, 2000));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [pending = m_pending](QDBusPendingCallWatcher* w) {
                         --pending->calls;
                         const QDBusPendingReply<> reply = *w;
                         if (reply.isError())
                             qWarning().noquote()
                                 << "Hollowmere: brightness not set:" << reply.error().message();
                         w->deleteLater();
                     });
    return true;
}

std::unique_ptr<Backlight> makeBacklight() {
    return std::make_unique<SysfsBacklight>();
}
