// SPDX-License-Identifier: Apache-2.0
#include "command/Signals.hpp"

#include "base/Temporaries.hpp"

#include <csignal>
#include <cstdlib>

namespace corvane {
namespace {

volatile std::sig_atomic_t caught = 0;

/// Calls only what may be called in a handler.
void handle(int signal) {
    if (caught != 0) {
        removeTemporaries();
        dieOf(signal);
    }
    caught = signal;
}

} // namespace

void listenForSignals() {
    struct sigaction action {};
    action.sa_handler = handle;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        const bool ignored = sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (!ignored || signal == SIGTERM) sigaction(signal, &action, nullptr);
    }
}

int caughtSignal() { return caught; }

void dieOf(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t all;
    sigemptyset(&all);
    sigaddset(&all, signal);
    pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
    std::raise(signal);
    std::_Exit(128 + signal); // not reached
}

} // namespace corvane
