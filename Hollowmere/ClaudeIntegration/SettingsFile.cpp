// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QtGlobal>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace SettingsFile {
namespace {

using nlohmann::json;
using DomParser = nlohmann::detail::json_sax_dom_parser<json>;

// Builds the DOM like nlohmann's own parser, but sees each number's literal text, so it can tell
// which numbers would not survive being written back.
class ExactnessCheckingParser {
public:
    explicit ExactnessCheckingParser(json& root) : m_dom(root, false) {}

    std::optional<std::string> inexactNumber;

    bool null() { return m_dom.null(); }
    bool boolean(bool v) { return m_dom.boolean(v); }
    bool number_integer(json::number_integer_t v) { return m_dom.number_integer(v); }
    bool number_unsigned(json::number_unsigned_t v) { return m_dom.number_unsigned(v); }
    bool number_float(json::number_float_t v, const std::string& literal) {
        // An integer literal only becomes a double when it does not fit 64 bits.
        if (!inexactNumber && literal.find_first_of(".eE") == std::string::npos)
            inexactNumber = literal;
        return m_dom.number_float(v, literal);
    }
    bool string(std::string& v) { return m_dom.string(v); }
    bool binary(json::binary_t& v) { return m_dom.binary(v); }
    bool start_object(std::size_t n) { return m_dom.start_object(n); }
    bool key(std::string& k) { return m_dom.key(k); }
    bool end_object() { return m_dom.end_object(); }
    bool start_array(std::size_t n) { return m_dom.start_array(n); }
    bool end_array() { return m_dom.end_array(); }
    bool parse_error(std::size_t, const std::string& token, const nlohmann::detail::exception& e) {
        // 406: a number too large for a double. JavaScript reads it as Infinity, so Claude Code
        // still accepts the file; we must not replace it.
        if (e.id == 406 && !inexactNumber)
            inexactNumber = token;
        return false;
    }

private:
    DomParser m_dom;
};

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
    const int fd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

bool sameBytes(const QString& a, const QString& b) {
    QFile fa(a), fb(b);
    if (!fa.open(QIODevice::ReadOnly) || !fb.open(QIODevice::ReadOnly))
        return false;
    return fa.size() == fb.size() && fa.readAll() == fb.readAll();
}

} // namespace

Contents read(const QString& path) {
    Contents c;
    QFile file(path);
    if (!file.exists())
        return c;
    if (!file.open(QIODevice::ReadOnly)) {
        c.state = Contents::State::unreadable;
        return c;
    }
    return parse(file.readAll());
}

Contents parse(const QByteArray& bytes) {
    Contents c;
    if (bytes.trimmed().isEmpty()) {
        c.state = Contents::State::blank;
        return c;
    }
    json root;
    ExactnessCheckingParser parser(root);
    const bool ok = json::sax_parse(bytes.constBegin(), bytes.constEnd(), &parser);
    c.inexactNumber = parser.inexactNumber;
    if (ok && root.is_object()) {
        c.state = Contents::State::object;
        c.root = std::move(root);
    } else {
        c.state = Contents::State::malformed;
    }
    return c;
}

QString resolvedTarget(const QString& path) {
    const QFileInfo info(path);
    if (!info.isSymLink())
        return path;
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.symLinkTarget() : canonical;
}

std::optional<QString> keepAside(const QString& path, const QString& backupPath) {
    if (QFileInfo::exists(backupPath) && sameBytes(path, backupPath))
        return backupPath;
    if (!QFileInfo::exists(backupPath) && QFile::copy(path, backupPath))
        return backupPath;
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString base = path + QStringLiteral(".hollowmere-unparsable-") + stamp;
    QString copy = base;
    for (int n = 2; QFileInfo::exists(copy); ++n)
        copy = base + QStringLiteral("-%1").arg(n);
    if (QFile::copy(path, copy))
        return copy;
    return std::nullopt;
}

std::optional<QString> replaceAtomically(const QString& path, const std::string& bytes,
                                         std::optional<unsigned> mode) {
    const QString target = resolvedTarget(path);
    const QFileInfo info(target);
    const QByteArray targetName = QFile::encodeName(target);
    const QByteArray dir = QFile::encodeName(info.absolutePath());

    struct stat st {};
    const bool existed = ::stat(targetName.constData(), &st) == 0;
    QByteArray tmp = dir + "/." + QFile::encodeName(info.fileName()) + ".hollowmere-XXXXXX";
    const int fd = ::mkstemp(tmp.data());
    if (fd < 0)
        return errnoText("cannot create a temporary file", errno);

    auto fail = [&](const char* what) {
        const int err = errno;
        ::close(fd);
        ::unlink(tmp.constData());
        return errnoText(what, err);
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
        return errnoText("cannot close", err);
    }
    if (::rename(tmp.constData(), targetName.constData()) != 0) {
        const int err = errno;
        ::unlink(tmp.constData());
        return errnoText("cannot replace the settings file", err);
    }
    syncDirectory(dir);
    return std::nullopt;
}

std::optional<QString> refusal(const QString& path, const Contents& before) {
    if (before.inexactNumber) {
        return QStringLiteral("%1 holds the number %2, which cannot be rewritten exactly; "
                              "left unchanged")
            .arg(path, QString::fromStdString(*before.inexactNumber));
    }
    if (before.state == Contents::State::unreadable)
        return QStringLiteral("%1 cannot be read; left unchanged").arg(path);
    return std::nullopt;
}

std::optional<WriteError> write(const QString& path, const Contents& before, const json& root,
                                const QString& backupPath) {
    if (auto why = refusal(path, before))
        return WriteError{true, *why};

    std::string text;
    try {
        text = root.dump(2) + "\n";
    } catch (const nlohmann::json::exception& e) {
        return WriteError{
            true, QStringLiteral("cannot serialise settings: %1").arg(QString::fromUtf8(e.what()))};
    }

    if (before.state == Contents::State::malformed) {
        const auto copy = keepAside(path, backupPath);
        if (!copy) {
            return WriteError{
                true,
                QStringLiteral("%1 does not parse and no copy of it could be made; left unchanged")
                    .arg(path)};
        }
        qWarning("Hollowmere: %s did not parse as a JSON object; its content is kept in %s",
                 qPrintable(path), qPrintable(*copy));
    }
    if (auto err = replaceAtomically(path, text))
        return WriteError{false, *err};
    return std::nullopt;
}

} // namespace SettingsFile
