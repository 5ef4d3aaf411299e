// SPDX-License-Identifier: MIT
// A stand-in for the app's end of the hook socket, on its own thread: it records each request
// line and then answers, closes at once, or stays silent, as told.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class FakeApp {
public:
    enum class Behaviour { answer, closeAtOnce, silence };

    explicit FakeApp(std::string path);
    ~FakeApp();
    bool listening() const { return m_listenFd >= 0; }

    // Bytes written back after a request, sent as given (line feed included or not).
    void answerWith(std::string bytes);
    void behave(Behaviour behaviour);

    std::vector<std::string> requests() const;
    int connections() const { return m_connections; }

private:
    void serve();
    void handle(int fd);

    std::string m_path;
    int m_listenFd = -1;
    int m_stopPipe[2] = {-1, -1};
    std::atomic<int> m_connections = 0;
    mutable std::mutex m_mutex;
    std::string m_answer = "{\"decision\":\"passthrough\"}\n";
    Behaviour m_behaviour = Behaviour::answer;
    std::vector<std::string> m_requests;
    std::vector<int> m_heldOpen;
    std::thread m_thread;
};
