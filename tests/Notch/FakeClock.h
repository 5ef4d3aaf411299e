// SPDX-License-Identifier: MIT
#pragma once

#include "Notch/Clock.h"

#include <QCoreApplication>

#include <algorithm>
#include <set>

// A clock that stands still until the test advances it. Queued calls run before and after each
// timer, as the event loop would run them.
class FakeClock : public Clock {
public:
    class FakeTimer : public Timer {
    public:
        FakeTimer(FakeClock& clock, std::function<void()> timeout)
            : m_clock(clock), m_timeout(std::move(timeout)) {
            m_clock.m_timers.insert(this);
        }
        ~FakeTimer() override { m_clock.m_timers.erase(this); }
        void start(std::chrono::milliseconds wait) override {
            m_due = m_clock.m_now + wait.count();
            m_order = ++m_clock.m_starts;
        }
        void stop() override { m_due = -1; }
        bool isActive() const override { return m_due >= 0; }

    private:
        friend class FakeClock;
        FakeClock& m_clock;
        std::function<void()> m_timeout;
        qint64 m_due = -1;
        quint64 m_order = 0;
    };

    std::unique_ptr<Timer> makeTimer(std::function<void()> timeout) override {
        return std::make_unique<FakeTimer>(*this, std::move(timeout));
    }

    qint64 now() const { return m_now; }

    // Moves time forward, firing every timer that falls due on the way, in order.
    void advance(qint64 ms) {
        const qint64 target = m_now + ms;
        settle();
        while (FakeTimer* next = nextDue(target)) {
            m_now = next->m_due;
            next->m_due = -1;
            next->m_timeout();
            settle();
        }
        m_now = target;
        settle();
    }

    // Runs what was queued on the event loop, and what that queued in turn.
    static void settle() {
        for (int i = 0; i < 8; ++i)
            QCoreApplication::processEvents();
    }

private:
    FakeTimer* nextDue(qint64 target) const {
        FakeTimer* best = nullptr;
        for (FakeTimer* t : m_timers) {
            if (t->m_due < 0 || t->m_due > target)
                continue;
            if (!best || t->m_due < best->m_due ||
                (t->m_due == best->m_due && t->m_order < best->m_order))
                best = t;
        }
        return best;
    }

    qint64 m_now = 0;
    quint64 m_starts = 0;
    std::set<FakeTimer*> m_timers;
};
