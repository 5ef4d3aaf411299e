// SPDX-License-Identifier: MIT
#include "Notch/Clock.h"

#include <QTimer>

namespace {

class SystemTimer final : public Clock::Timer {
public:
    explicit SystemTimer(std::function<void()> timeout) {
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, std::move(timeout));
    }
    void start(std::chrono::milliseconds wait) override { m_timer.start(wait); }
    void stop() override { m_timer.stop(); }
    bool isActive() const override { return m_timer.isActive(); }

private:
    QTimer m_timer;
};

class SystemClock final : public Clock {
public:
    std::unique_ptr<Timer> makeTimer(std::function<void()> timeout) override {
        return std::make_unique<SystemTimer>(std::move(timeout));
    }
};

} // namespace

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}
