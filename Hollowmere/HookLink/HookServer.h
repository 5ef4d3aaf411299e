// SPDX-License-Identifier: MIT
// The app's end of the hook link: a Unix-domain stream socket that takes one HookEvent line per
// connection, hands it to the SessionStore on the main thread and writes back one HookDecision
// line (passthrough when nobody answered in time). Serves only peers of its own user.
#pragma once

#include <QObject>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <sys/types.h>
#include <thread>

class SessionStore;

class HookServer : public QObject {
    Q_OBJECT
public:
    // The shared socket path and the 25 s answer wait.
    explicit HookServer(SessionStore* sessions, QObject* parent = nullptr);
    HookServer(SessionStore* sessions, std::string path, std::chrono::milliseconds answerWait,
               QObject* parent = nullptr);
    // Stops accepting and removes the socket file if it is still ours. Connections in progress
    // finish on their own threads and answer passthrough.
    ~HookServer() override;

    // Replaces any file at the path and starts listening. Throws std::system_error: EIO when no
    // socket can be made or listened on, EADDRINUSE when binding fails for whatever reason.
    void start();

    const std::string& path() const { return m_path; }

    struct Shared; // what connection threads may still hold once the server is gone

private:
    void startRawUnixSocket();
    void acceptLoop();

    std::shared_ptr<Shared> m_shared;
    std::string m_path;
    std::atomic<int> m_serverFD{-1};
    int m_wakeRead = -1;
    int m_wakeWrite = -1;
    std::thread m_acceptThread;
    dev_t m_boundDevice = 0;
    ino_t m_boundInode = 0;
};
