// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

// Where single-shot waits come from: the system's timers in the app, a clock that a test
// advances by hand. Main thread only.
class Clock {
public:
    // One cancellable wait; starting it again replaces the wait in progress, so only the latest
    // acts. Destroying it cancels it.
    class Timer {
    public:
        virtual ~Timer() = default;
        virtual void start(std::chrono::milliseconds wait) = 0;
        virtual void stop() = 0;
        virtual bool isActive() const = 0;
    };

    virtual ~Clock() = default;
    // A timer that runs `timeout` once each time a wait ends.
    virtual std::unique_ptr<Timer> makeTimer(std::function<void()> timeout) = 0;

    static Clock& system();
};
