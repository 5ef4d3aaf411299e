// SPDX-License-Identifier: MIT
#include "FakeApp.h"

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// Not inherited by the hooks the test starts.
int closeOnExec(int fd) {
    if (fd >= 0)
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
}

} // namespace

FakeApp::FakeApp(std::string path) : m_path(std::move(path)) {
    ::unlink(m_path.c_str());
    int fd = closeOnExec(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, m_path.c_str(), sizeof address.sun_path - 1);
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 16) != 0 || ::pipe(m_stopPipe) != 0) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    closeOnExec(m_stopPipe[0]);
    closeOnExec(m_stopPipe[1]);
    m_listenFd = fd;
    m_thread = std::thread([this] { serve(); });
}

FakeApp::~FakeApp() {
    if (m_thread.joinable()) {
        char stop = 1;
        (void)!::write(m_stopPipe[1], &stop, 1);
        m_thread.join();
    }
    for (int fd : {m_listenFd, m_stopPipe[0], m_stopPipe[1]}) {
        if (fd >= 0)
            ::close(fd);
    }
    for (int fd : m_heldOpen)
        ::close(fd);
    ::unlink(m_path.c_str());
}

void FakeApp::answerWith(std::string bytes) {
    std::lock_guard lock(m_mutex);
    m_answer = std::move(bytes);
}

void FakeApp::behave(Behaviour behaviour) {
    std::lock_guard lock(m_mutex);
    m_behaviour = behaviour;
}

std::vector<std::string> FakeApp::requests() const {
    std::lock_guard lock(m_mutex);
    return m_requests;
}

void FakeApp::serve() {
    for (;;) {
        pollfd fds[2] = {{m_listenFd, POLLIN, 0}, {m_stopPipe[0], POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 || fds[1].revents)
            return;
        int fd = closeOnExec(::accept(m_listenFd, nullptr, nullptr));
        if (fd < 0)
            continue;
        ++m_connections;
        handle(fd);
    }
}

void FakeApp::handle(int fd) {
    Behaviour behaviour;
    std::string answer;
    {
        std::lock_guard lock(m_mutex);
        behaviour = m_behaviour;
        answer = m_answer;
    }
    if (behaviour == Behaviour::closeAtOnce) {
        ::close(fd);
        return;
    }
    std::string line;
    char buffer[65536];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) {
        line.append(buffer, size_t(n));
        if (auto feed = line.find('\n'); feed != std::string::npos) {
            line.resize(feed);
            break;
        }
    }
    {
        std::lock_guard lock(m_mutex);
        m_requests.push_back(line);
    }
    if (behaviour == Behaviour::silence) {
        m_heldOpen.push_back(fd);
        return;
    }
    (void)!::write(fd, answer.data(), answer.size());
    ::close(fd);
}
