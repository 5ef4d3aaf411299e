// SPDX-License-Identifier: MIT
// A stand-in for the app's end of the hook socket, on its own thread: it records each request
// line and then answers, closes at once, or stays silent, as told.
#pragma once

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

class FakeApp {
public:
    enum class Behaviour { answer, closeAtOnce, silence };

    explicit FakeApp(std::string path) : m_path(std::move(path)) {
        ::unlink(m_path.c_str());
        // Close-on-exec: not inherited by the hooks the test starts.
        m_listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, m_path.c_str(), sizeof address.sun_path - 1);
        if (::bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(m_listenFd, 16) == 0)
            m_thread = std::thread([this] { serve(); });
    }
    ~FakeApp() {
        ::shutdown(m_listenFd, SHUT_RDWR); // wakes the accept
        if (m_thread.joinable())
            m_thread.join();
        ::close(m_listenFd);
        for (int fd : m_heldOpen)
            ::close(fd);
        ::unlink(m_path.c_str());
    }
    bool listening() const { return m_thread.joinable(); }

    // Bytes written back after a request, sent as given (line feed included or not).
    void answerWith(std::string bytes) {
        std::lock_guard lock(m_mutex);
        m_answer = std::move(bytes);
    }
    void behave(Behaviour behaviour) {
        std::lock_guard lock(m_mutex);
        m_behaviour = behaviour;
    }
    std::vector<std::string> requests() const {
        std::lock_guard lock(m_mutex);
        return m_requests;
    }
    int connections() const { return m_connections; }

private:
    void serve() {
        for (int fd; (fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            ++m_connections;
            std::unique_lock lock(m_mutex);
            const Behaviour behaviour = m_behaviour;
            const std::string answer = m_answer;
            lock.unlock();
            if (behaviour == Behaviour::closeAtOnce) {
                ::close(fd);
                continue;
            }
            std::string line;
            char buffer[65536];
            for (ssize_t n; line.find('\n') == std::string::npos &&
                            (n = ::read(fd, buffer, sizeof buffer)) > 0;)
                line.append(buffer, size_t(n));
            lock.lock();
            m_requests.push_back(line.substr(0, line.find('\n')));
            lock.unlock();
            if (behaviour == Behaviour::silence) {
                m_heldOpen.push_back(fd);
                continue;
            }
            (void)!::write(fd, answer.data(), answer.size());
            ::close(fd);
        }
    }

    std::string m_path;
    int m_listenFd = -1;
    std::atomic<int> m_connections = 0;
    mutable std::mutex m_mutex;
    std::string m_answer = "{\"decision\":\"passthrough\"}\n";
    Behaviour m_behaviour = Behaviour::answer;
    std::vector<std::string> m_requests;
    std::vector<int> m_heldOpen;
    std::thread m_thread;
};
