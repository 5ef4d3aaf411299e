// SPDX-License-Identifier: MIT
#pragma once
// The longest time the calling thread's event loop went without turning, seen by a precise timer
// that fires every millisecond: anything that blocks the thread (a synchronous round trip to a
// stuck service) shows as a gap as long as the block.

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <algorithm>

class LoopGaps {
public:
    LoopGaps() {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
        reset();
        m_timer.start();
    }
    // Forgets the gaps so far.
    void reset() {
        m_clock.start();
        m_lastNs = 0;
        m_longestNs = 0;
    }
    // The longest gap since the last reset, counting the one still open.
    double longestMs() const {
        return double(std::max(m_longestNs, m_clock.nsecsElapsed() - m_lastNs)) / 1e6;
    }

private:
    void tick() {
        const qint64 now = m_clock.nsecsElapsed();
        m_longestNs = std::max(m_longestNs, now - m_lastNs);
        m_lastNs = now;
    }

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_lastNs = 0;
    qint64 m_longestNs = 0;
};
