// SPDX-License-Identifier: MIT
#include "QuitSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace QuitSignals {
namespace {

int pipeEnds[2] = {-1, -1};

// Only async-signal-safe work here: one byte into the pipe.
void onSignal(int number) {
    const char byte = char(number);
    [[maybe_unused]] const auto written = ::write(pipeEnds[1], &byte, 1);
}

} // namespace

void install() {
    if (pipeEnds[0] >= 0 || ::pipe(pipeEnds) != 0)
        return;
    for (const int end : pipeEnds) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
    }
    auto* notifier =
        new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [] {
        char byte = 0;
        while (::read(pipeEnds[0], &byte, 1) == 1) {
        }
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(number, &action, nullptr);
}

} // namespace QuitSignals
