// SPDX-License-Identifier: MIT
#include "SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char request[] = "settings\n";
constexpr char answer[] = "ok\n";
constexpr int patienceMs = 5000;

// Waits until `fd` is ready for `events` or the deadline passes.
bool waitFor(int fd, short events, const QDeadlineTimer& deadline) {
    pollfd p{fd, events, 0};
    for (;;) {
        const int r = ::poll(&p, 1, int(qMax<qint64>(0, deadline.remainingTime())));
        if (r > 0)
            return true;
        if (r == 0 || errno != EINTR)
            return false;
    }
}

// Asks the instance listening at `path` to show Settings; true once it said so. Plain sockets:
// this runs before any application object exists.
bool askToShowSettings(const QString& path, const QDeadlineTimer& deadline) {
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    if (size_t(name.size()) >= sizeof address.sun_path)
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        if (errno != EINPROGRESS && errno != EAGAIN)
            return false;
        int error = 0;
        socklen_t length = sizeof error;
        if (!waitFor(fd, POLLOUT, deadline) ||
            ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0)
            return false;
    }
    if (::send(fd, request, sizeof request - 1, MSG_NOSIGNAL) != ssize_t(sizeof request - 1))
        return false;
    QByteArray reply;
    while (!reply.contains('\n') && reply.size() < 64 && waitFor(fd, POLLIN, deadline)) {
        char buffer[64];
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0 && !(n < 0 && (errno == EINTR || errno == EAGAIN)))
            break;
        if (n > 0)
            reply.append(buffer, n);
    }
    return reply == answer;
}

} // namespace

SingleInstance::SingleInstance(QString directory, QObject* parent)
    : QObject(parent), m_directory(std::move(directory)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultDirectory() {
#ifdef Q_OS_MACOS
    return QDir::tempPath(); // per user on macOS
#else
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir())
        return runtime;
    // Without a runtime folder, one of our own under /tmp that nobody else can have made.
    const QString dir =
        QDir::tempPath() + QStringLiteral("/hollowmere-") + QString::number(::getuid());
    const QByteArray name = QFile::encodeName(dir);
    ::mkdir(name.constData(), 0700);
    struct stat info = {};
    if (::lstat(name.constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
        info.st_uid == ::getuid() && (info.st_mode & 077) == 0)
        return dir;
    return {};
#endif
}

QString SingleInstance::socketPath() const {
    return m_directory + QStringLiteral("/hollowmere.instance");
}

SingleInstance::Role SingleInstance::claim() {
    if (m_directory.isEmpty()) {
        qWarning("Hollowmere: no private folder for the one-instance check; starting anyway");
        return Role::primary;
    }
    QDir().mkpath(m_directory);
    m_lock = std::make_unique<QLockFile>(m_directory + QStringLiteral("/hollowmere.lock"));
    // Never stale by age: only when the process that wrote it is gone.
    m_lock->setStaleLockTime(0);
    const QDeadlineTimer deadline(patienceMs);
    for (;;) {
        if (m_lock->tryLock(0))
            return Role::primary;
        if (m_lock->error() != QLockFile::LockFailedError) {
            qWarning("Hollowmere: cannot use the lock in %s (%d); starting without the "
                     "one-instance check",
                     qPrintable(m_directory), int(m_lock->error()));
            m_lock.reset();
            return Role::primary;
        }
        // The holder may still be starting up (locked, not yet listening), or just have died.
        if (askToShowSettings(socketPath(), deadline))
            return Role::forwarded;
        if (deadline.hasExpired())
            return Role::unanswered;
        QThread::msleep(100);
    }
}

bool SingleInstance::listen() {
    if (!m_lock || !m_lock->isLocked())
        return false;
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // We hold the lock, so a socket file left here belongs to a crashed instance.
    QLocalServer::removeServer(socketPath());
    if (!m_server->listen(socketPath())) {
        qWarning("Hollowmere: cannot listen at %s: %s", qPrintable(socketPath()),
                 qPrintable(m_server->errorString()));
        return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::serve);
    return true;
}

void SingleInstance::serve() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        // A caller that never finishes its line is dropped.
        QTimer::singleShot(patienceMs, socket, [socket] { socket->abort(); });
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > 64)
                    socket->abort();
                return;
            }
            const bool asked = socket->readLine() == request;
            if (asked) {
                socket->write(answer);
                socket->flush();
            }
            socket->disconnectFromServer();
            if (asked)
                emit settingsRequested();
        });
    }
}
