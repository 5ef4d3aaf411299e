// SPDX-License-Identifier: MIT
#include "HookServer.h"

#include <QDebug>
#include <QMetaObject>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "JsonLimits.h"
#include "Platform/PeerCredentials.h"
#include "Platform/QuietSend.h"
#include "Protocol.h"
#include "Sessions/SessionStore.h"

namespace {

constexpr std::chrono::milliseconds defaultAnswerWait{25000};
constexpr int listenBacklog = 16;

// The protocol sets no size limit and no read time-out. A client that never ends its line, or
// streams forever, would still hold a thread for good; these bounds are far beyond any real hook
// request (tool inputs of a few megabytes at most) and any pause of a live client.
constexpr size_t requestCeiling = 64u << 20;
constexpr int idleReadSeconds = 60;
constexpr size_t peekChunk = 64u << 10;
constexpr std::chrono::seconds idleWorkerKeep{10};

void log(const QString& line) {
    qInfo().noquote() << line;
}

void setCloseOnExec(int fd) {
    fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
}

enum class ReadEnd { lineFeed, endOfStream, tooLarge };

// Reads up to the first line feed (not kept) or the end of the stream. Bytes after the line feed
// are never taken off the socket: each chunk is peeked first and only the part up to and
// including the line feed is then read.
ReadEnd readRequest(int fd, std::string& request) {
    std::unique_ptr<char[]> buffer(new char[peekChunk]); // not zeroed: only read into
    char* const chunk = buffer.get();
    for (;;) {
        const ssize_t seen = recv(fd, chunk, peekChunk, MSG_PEEK);
        if (seen <= 0) {
            if (seen < 0 && errno == EINTR)
                continue;
            return ReadEnd::endOfStream; // closed, failed, or idle too long
        }
        const char* lineFeed = static_cast<const char*>(std::memchr(chunk, '\n', seen));
        const size_t take = lineFeed ? size_t(lineFeed - chunk) + 1 : size_t(seen);
        size_t taken = 0;
        while (taken < take) {
            const ssize_t got = recv(fd, chunk + taken, take - taken, 0);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return ReadEnd::endOfStream;
            taken += size_t(got);
        }
        request.append(chunk, lineFeed ? take - 1 : take);
        if (lineFeed)
            return ReadEnd::lineFeed;
        if (request.size() > requestCeiling)
            return ReadEnd::tooLarge;
    }
}

QString describeDecodeFailure(const std::string& request) {
    if (request.empty())
        return QStringLiteral("no data");
    if (!jsonNestingWithin(request))
        return QStringLiteral("nested deeper than %1 levels").arg(jsonNestingLimit);
    try {
        const auto parsed = nlohmann::json::parse(request);
        if (!parsed.is_object())
            return QStringLiteral("not a JSON object");
        return QStringLiteral("not a hook event (kind, sessionId, cwd or timestamp missing or "
                              "invalid, or a field of the wrong type)");
    } catch (const nlohmann::json::exception& e) {
        return QString::fromUtf8(e.what());
    }
}

// One exchange's answer. The worker reads it after its wait; a callback that comes later writes
// into a box nobody reads any more, which is why the box is shared.
struct AnswerBox {
    std::mutex mutex;
    std::condition_variable answered;
    bool hasAnswer = false;
    HookDecision decision; // passthrough until someone answers
};

} // namespace

// A connection always gets a thread of its own at once: a prompt holds its thread for up to the
// answer wait, and any number of them may wait together, so a bounded pool would make later hooks
// queue behind earlier prompts. Threads that finish stay a while for the next connection, which
// spares a thread start per exchange when hooks come in bursts.
struct HookServer::Shared : std::enable_shared_from_this<Shared> {
    std::mutex mutex;
    SessionStore* sessions = nullptr; // null once the store or the server is gone
    std::chrono::milliseconds answerWait;

    std::mutex workMutex;
    std::condition_variable workArrived;
    std::deque<int> waitingConnections;
    size_t idleWorkers = 0;

    void dispatch(int clientFD);
    void work(int clientFD);
    void handle(int clientFD);
};

void HookServer::Shared::dispatch(int clientFD) {
    {
        std::lock_guard lock(workMutex);
        if (idleWorkers > waitingConnections.size()) {
            waitingConnections.push_back(clientFD); // an idle worker is there to take it
            workArrived.notify_one();
            return;
        }
    }
    try {
        std::thread([self = shared_from_this(), clientFD] { self->work(clientFD); }).detach();
    } catch (const std::system_error& e) {
        log(QStringLiteral("Hollowmere: no thread for connection: ") + e.what());
        close(clientFD);
    }
}

void HookServer::Shared::work(int clientFD) {
    for (;;) {
        handle(clientFD);
        std::unique_lock lock(workMutex);
        ++idleWorkers;
        workArrived.wait_for(lock, idleWorkerKeep, [&] { return !waitingConnections.empty(); });
        --idleWorkers;
        if (waitingConnections.empty())
            return;
        clientFD = waitingConnections.front();
        waitingConnections.pop_front();
    }
}

HookServer::HookServer(SessionStore* sessions, QObject* parent)
    : HookServer(sessions, socketPath, defaultAnswerWait, parent) {}

HookServer::HookServer(SessionStore* sessions, std::string path,
                       std::chrono::milliseconds answerWait, QObject* parent)
    : QObject(parent), m_shared(std::make_shared<Shared>()), m_path(std::move(path)) {
    m_shared->sessions = sessions;
    m_shared->answerWait = answerWait;
    if (sessions) {
        // A store that goes first must not receive hand-offs any more.
        connect(
            sessions, &QObject::destroyed, this,
            [shared = m_shared] {
                std::lock_guard lock(shared->mutex);
                shared->sessions = nullptr;
            },
            Qt::DirectConnection);
    }
}

HookServer::~HookServer() {
    {
        std::lock_guard lock(m_shared->mutex);
        m_shared->sessions = nullptr;
    }
    if (m_acceptThread.joinable()) {
        const char wake = 'x';
        while (write(m_wakeWrite, &wake, 1) < 0 && errno == EINTR) {
        }
        m_acceptThread.join();
    }
    const int fd = m_serverFD.exchange(-1);
    if (fd >= 0) {
        close(fd);
        // Only our own socket file: a second instance may have put its own in place meanwhile.
        struct stat now {};
        if (stat(m_path.c_str(), &now) == 0 && now.st_dev == m_boundDevice &&
            now.st_ino == m_boundInode)
            unlink(m_path.c_str());
    }
    for (int end : {m_wakeRead, m_wakeWrite}) {
        if (end >= 0)
            close(end);
    }
}

void HookServer::start() {
    if (m_serverFD >= 0)
        return;
    unlink(m_path.c_str()); // a stale socket from an earlier run, or whatever is there
    startRawUnixSocket();
    log(QStringLiteral("Hollowmere: hook server listening on ") + QString::fromStdString(m_path));
}

void HookServer::startRawUnixSocket() {
    if (m_wakeRead < 0) {
        int wake[2];
        if (pipe(wake) != 0)
            throw std::system_error(EIO, std::generic_category(), "hook server wake pipe");
        m_wakeRead = wake[0];
        m_wakeWrite = wake[1];
        setCloseOnExec(m_wakeRead);
        setCloseOnExec(m_wakeWrite);
    }

    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        throw std::system_error(EIO, std::generic_category(), "hook server socket");
    setCloseOnExec(fd); // players and helpers the app starts must not inherit it

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t length = std::min(m_path.size(), sizeof address.sun_path - 1); // truncates
    std::memcpy(address.sun_path, m_path.data(), length);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        // Coarse on purpose: whatever the cause, the caller learns the address is not usable.
        throw std::system_error(EADDRINUSE, std::generic_category(), "hook server bind");
    }
    if (listen(fd, listenBacklog) != 0) {
        close(fd);
        throw std::system_error(EIO, std::generic_category(), "hook server listen");
    }
    struct stat bound {};
    if (stat(std::string(address.sun_path).c_str(), &bound) == 0) {
        m_boundDevice = bound.st_dev;
        m_boundInode = bound.st_ino;
    }
    // accept() only ever runs after poll() saw a connection, but one that is aborted in between
    // must not leave accept() blocked where the destructor's wake-up cannot reach it.
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    m_serverFD = fd;
    m_acceptThread = std::thread([this] { acceptLoop(); });
}

void HookServer::acceptLoop() {
    log(QStringLiteral("Hollowmere: acceptLoop started, serverFD=%1").arg(m_serverFD.load()));
    const uid_t ownUid = geteuid();
    while (m_serverFD >= 0) {
        pollfd watched[2] = {{m_serverFD, POLLIN, 0}, {m_wakeRead, POLLIN, 0}};
        if (poll(watched, 2, -1) < 0)
            continue; // EINTR
        if (watched[1].revents != 0)
            return; // the server is being destroyed
        errno = 0;
        const int clientFD = accept(m_serverFD, nullptr, nullptr);
        const int acceptErrno = errno;
        log(QStringLiteral("Hollowmere: accept returned fd=%1 errno=%2")
                .arg(clientFD)
                .arg(acceptErrno));
        if (clientFD < 0)
            continue;
        setCloseOnExec(clientFD);
        fcntl(clientFD, F_SETFL, fcntl(clientFD, F_GETFL) & ~O_NONBLOCK); // BSDs pass it on
        const std::optional<uid_t> peer = peerUid(clientFD);
        if (!peer || *peer != ownUid) {
            log(QStringLiteral("Hollowmere: refused connection from uid=%1")
                    .arg(peer ? QString::number(*peer) : QStringLiteral("unknown")));
            close(clientFD);
            continue;
        }
        m_shared->dispatch(clientFD);
    }
}

void HookServer::Shared::handle(int clientFD) {
    timeval idle{idleReadSeconds, 0};
    setsockopt(clientFD, SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof idle);

    std::string request;
    const ReadEnd end = readRequest(clientFD, request);
    log(QString::asprintf("Hollowmere: received %d bytes", int(request.size())));
    std::optional<HookEvent> event;
    if (end == ReadEnd::tooLarge) {
        log(QStringLiteral("Hollowmere: decode error: request larger than %1 bytes")
                .arg(requestCeiling));
    } else if (!(event = HookEvent::decode(request))) {
        log(QStringLiteral("Hollowmere: decode error: ") + describeDecodeFailure(request));
    }
    if (!event) {
        close(clientFD);
        return;
    }
    log(QStringLiteral("Hollowmere: event kind=%1 session=%2")
            .arg(QString::fromUtf8(toString(event->kind)),
                 QString::fromStdString(event->sessionId)));

    auto box = std::make_shared<AnswerBox>();
    Respond respond = [box](const HookDecision& decision) {
        {
            std::lock_guard lock(box->mutex);
            box->decision = decision;
            box->hasAnswer = true;
        }
        box->answered.notify_all();
    };
    bool handedOver = false;
    {
        std::lock_guard lock(mutex);
        if (SessionStore* store = sessions) {
            // The store lives on the main thread; the call is dropped if it is gone by then.
            QMetaObject::invokeMethod(
                store, [store, event = *event, respond] { store->handle(event, respond); },
                Qt::QueuedConnection);
            handedOver = true;
        }
    }

    HookDecision decision;
    {
        std::unique_lock lock(box->mutex);
        if (handedOver)
            box->answered.wait_for(lock, answerWait, [&] { return box->hasAnswer; });
        decision = box->decision;
    }
    const std::string line = decision.encode() + '\n';
    sendWithoutSignal(clientFD, line.data(), line.size()); // a client that left just misses it
    close(clientFD);
}
