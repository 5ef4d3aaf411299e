// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include "JsonLimits.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace SettingsFile {
namespace {

using nlohmann::json;

// Another Hollowmere writer holds the lock for a few milliseconds; ten seconds means it is stuck.
constexpr auto lockWait = std::chrono::seconds(10);
// Claude Code rewriting the file between our read and our rename, again and again.
constexpr int updateAttempts = 10;
// A rewrite may be this many times the file's size (indenting what was written compactly), and
// always this large; past that the file is left alone.
constexpr std::size_t rewriteGrowth = 8;
constexpr std::size_t rewriteFloor = 4u << 20;

QString errnoText(const char* what, int err) {
    return QStringLiteral("%1: %2").arg(QString::fromUtf8(what),
                                        QString::fromLocal8Bit(std::strerror(err)));
}

mode_t currentUmask() {
    const mode_t m = ::umask(0);
    ::umask(m);
    return m;
}

void syncDirectory(const QByteArray& dir) {
    const int fd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

// The file's bytes now, or nothing when there is no file (a dangling link included).
std::optional<QByteArray> bytesNow(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

std::optional<mode_t> modeOf(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return std::nullopt;
    return st.st_mode & 07777;
}

enum class Replaced { done, conflict, failed };

// The atomic replace, with a last look before the rename: `stillCurrent` false abandons it.
Replaced replaceChecked(const QString& path, const std::string& bytes, std::optional<unsigned> mode,
                        const std::function<bool()>& stillCurrent, QString& error) {
    const QString target = resolvedTarget(path);
    const QFileInfo info(target);
    const QByteArray targetName = QFile::encodeName(target);
    const QByteArray dir = QFile::encodeName(info.absolutePath());

    struct stat st {};
    const bool existed = ::stat(targetName.constData(), &st) == 0;
    QByteArray tmp = dir + "/." + QFile::encodeName(info.fileName()) + ".hollowmere-XXXXXX";
    const int fd = ::mkostemp(tmp.data(), O_CLOEXEC);
    if (fd < 0) {
        error = errnoText("cannot create a temporary file", errno);
        return Replaced::failed;
    }
    auto fail = [&](const char* what) {
        const int err = errno;
        ::close(fd);
        ::unlink(tmp.constData());
        error = errnoText(what, err);
        return Replaced::failed;
    };
    const mode_t bits =
        existed ? (st.st_mode & 07777) : mode_t(mode.value_or(0666 & ~currentUmask()));
    if (::fchmod(fd, bits) != 0)
        return fail("cannot set permissions");
    if (existed && ::geteuid() == 0) {
        // Editing another user's settings as root must not hand the file to root.
        [[maybe_unused]] const int ignored = ::fchown(fd, st.st_uid, st.st_gid);
    }
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail("cannot write");
        done += std::size_t(n);
    }
    if (::fsync(fd) != 0)
        return fail("cannot sync");
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(tmp.constData());
        error = errnoText("cannot close", err);
        return Replaced::failed;
    }
    if (stillCurrent && !stillCurrent()) {
        ::unlink(tmp.constData());
        return Replaced::conflict;
    }
    if (::rename(tmp.constData(), targetName.constData()) != 0) {
        const int err = errno;
        ::unlink(tmp.constData());
        error = errnoText("cannot replace the settings file", err);
        return Replaced::failed;
    }
    syncDirectory(dir);
    return Replaced::done;
}

QString lockPath(const QString& path) {
    const QFileInfo info(path);
    return info.absolutePath() + QStringLiteral("/.") + info.fileName() +
           QStringLiteral(".hollowmere-lock");
}

Outcome refused(QString text) {
    return {Outcome::Kind::refused, std::move(text)};
}

} // namespace

Lock::Lock(const QString& path) {
    const QByteArray name = QFile::encodeName(lockPath(path));
    m_fd = ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0)
        return;
    const auto deadline = std::chrono::steady_clock::now() + lockWait;
    while (::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) ||
            std::chrono::steady_clock::now() > deadline) {
            ::close(m_fd);
            m_fd = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

Lock::~Lock() {
    if (m_fd >= 0)
        ::close(m_fd); // releases the lock; the file stays for the next writer
}

namespace {
// No file where the path leads, a dangling link included.
bool missing(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) != 0 && errno == ENOENT;
}
} // namespace

Contents read(const QString& path) {
    Contents c;
    if (missing(path))
        return c;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        c.state = Contents::State::unreadable;
        return c;
    }
    return parse(file.readAll());
}

Contents parse(const QByteArray& bytes) {
    using Text = SettingsJson::Parsed::State;
    SettingsJson::Parsed parsed = SettingsJson::parse(bytes);
    Contents c;
    c.bytes = bytes;
    c.root = std::move(parsed.root);
    c.inexactNumber = std::move(parsed.inexactNumber);
    switch (parsed.state) {
    case Text::blank:
        c.state = Contents::State::blank;
        break;
    case Text::object:
        c.state = Contents::State::object;
        break;
    case Text::malformed:
        c.state = Contents::State::malformed;
        break;
    case Text::tooDeep:
        c.state = Contents::State::tooDeep;
        break;
    }
    return c;
}

QString resolvedTarget(const QString& path) {
    QString current = path;
    // A loop of links is the kernel's to refuse; forty hops is its own limit.
    for (int hop = 0; hop < 40; ++hop) {
        const QFileInfo info(current);
        if (!info.isSymLink())
            return current;
        current = info.symLinkTarget();
    }
    return current;
}

std::optional<QString> keepAside(const QString& path, const QByteArray& bytes,
                                 const QString& backupPath) {
    const auto mode = modeOf(path);
    if (const auto backup = bytesNow(backupPath)) {
        if (*backup == bytes)
            return backupPath;
    } else if (!replaceAtomically(backupPath, bytes.toStdString(), mode)) {
        return backupPath;
    }
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString base = path + QStringLiteral(".hollowmere-unparsable-") + stamp;
    QString copy = base;
    for (int n = 2; QFileInfo::exists(copy); ++n)
        copy = base + QStringLiteral("-%1").arg(n);
    if (!replaceAtomically(copy, bytes.toStdString(), mode))
        return copy;
    return std::nullopt;
}

std::optional<QString> replaceAtomically(const QString& path, const std::string& bytes,
                                         std::optional<unsigned> mode) {
    QString error;
    if (replaceChecked(path, bytes, mode, {}, error) == Replaced::done)
        return std::nullopt;
    return error;
}

std::optional<QString> refusal(const QString& path, const Contents& before) {
    if (before.state == Contents::State::unreadable)
        return QStringLiteral("%1 cannot be read; left unchanged").arg(path);
    if (before.state == Contents::State::tooDeep) {
        return QStringLiteral("%1 nests deeper than %2 levels, which cannot be rewritten safely; "
                              "left unchanged")
            .arg(path)
            .arg(jsonNestingLimit);
    }
    if (before.inexactNumber) {
        return QStringLiteral("%1 holds the number %2, which cannot be rewritten exactly; "
                              "left unchanged")
            .arg(path, QString::fromStdString(*before.inexactNumber));
    }
    return std::nullopt;
}

namespace {
std::size_t rewriteLimit(const Contents& before) {
    return std::max(rewriteFloor, rewriteGrowth * std::size_t(before.bytes.size()));
}
} // namespace

std::optional<std::string> rewrite(const Contents& before, const json& root) {
    return SettingsJson::serialise(root, rewriteLimit(before));
}

QString tooLargeText(const QString& path, const Contents& before) {
    return QStringLiteral("%1 would grow from %2 bytes to more than %3 when rewritten indented; "
                          "left unchanged")
        .arg(path)
        .arg(before.bytes.size())
        .arg(rewriteLimit(before));
}

Outcome update(const QString& path, const UpdateOptions& options,
               const std::function<std::optional<json>(const Contents&)>& edit) {
    const QString dir = QFileInfo(path).absolutePath();
    if (!QFileInfo::exists(dir)) {
        // Nothing to lock beside yet; make the folder only when there is something to write.
        if (!edit(read(path)))
            return {};
        if (!QDir().mkpath(dir))
            return {Outcome::Kind::failed, QStringLiteral("cannot create %1").arg(dir)};
    }
    const Lock lock(path);
    if (!lock.held()) {
        return {Outcome::Kind::failed,
                QStringLiteral("%1 is locked by another writer").arg(lockPath(path))};
    }
    for (int attempt = 0; attempt < updateAttempts; ++attempt) {
        const Contents before = read(path);
        if (auto why = refusal(path, before))
            return refused(*why);
        const bool malformed = before.state == Contents::State::malformed;
        if (malformed && !options.replaceMalformed) {
            return refused(
                QStringLiteral("%1 does not parse as a JSON object; left unchanged").arg(path));
        }
        const std::optional<json> root = edit(before);
        if (!root)
            return {};
        const std::optional<std::string> text = rewrite(before, *root);
        if (!text)
            return refused(tooLargeText(path, before));

        // Copies before the replace: when one cannot be made, the file stays as it is.
        if (malformed) {
            const auto copy = keepAside(path, before.bytes, options.backupPath);
            if (!copy) {
                return refused(QStringLiteral("%1 does not parse and no copy of it could be "
                                              "made; left unchanged")
                                   .arg(path));
            }
            qWarning("Hollowmere: %s did not parse as a JSON object; its content is kept in %s",
                     qPrintable(path), qPrintable(*copy));
        } else if (options.keepFirstBackup && before.state != Contents::State::missing &&
                   !QFileInfo::exists(options.backupPath)) {
            // The state before the first install; never overwritten. A failure only costs it.
            replaceAtomically(options.backupPath, before.bytes.toStdString(), modeOf(path));
        }

        // A link may point into a folder that is not there yet.
        QDir().mkpath(QFileInfo(resolvedTarget(path)).absolutePath());
        const bool existed = before.state != Contents::State::missing;
        QString error;
        const Replaced done = replaceChecked(
            path, *text, std::nullopt,
            [&] {
                const auto now = bytesNow(path);
                return existed ? now == before.bytes : !now.has_value();
            },
            error);
        if (done == Replaced::done)
            return {Outcome::Kind::written, {}};
        if (done == Replaced::failed)
            return {Outcome::Kind::failed, error};
    }
    return {Outcome::Kind::failed,
            QStringLiteral("%1 kept changing while it was being rewritten").arg(path)};
}

} // namespace SettingsFile
