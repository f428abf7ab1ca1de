// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "process/stop_signal.hpp"

#include <csignal>

namespace zel {
namespace {

constexpr int kRelayedSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2};
constexpr int kTerminalStopSignals[] = {SIGTSTP, SIGTTIN, SIGTTOU};

volatile std::sig_atomic_t stopSignal = 0;

// The first signal decides how the process ends; a later one changes nothing.
void recordStopSignal(int signal)
{
    if (stopSignal == 0) {
        stopSignal = signal;
    }
}

} // namespace

void overrideCallerSignals()
{
    struct sigaction record {};
    record.sa_handler = recordStopSignal;
    // Blocking calls resume; nanosleep and poll return early whatever the flag says.
    record.sa_flags = SA_RESTART;
    sigemptyset(&record.sa_mask);
    for (const int signal : kRelayedSignals) {
        sigaddset(&record.sa_mask, signal);
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    // Only invalid arguments make these calls fail, and the arguments are constants.
    for (const int signal : kRelayedSignals) {
        ::sigaction(signal, &record, nullptr);
    }
    for (const int signal : kTerminalStopSignals) {
        ::sigaction(signal, &ignore, nullptr);
    }
    // Where the caller ignored SIGCHLD, the kernel would reap the fixed
    // programs before the runner could learn how they ended.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &fallback, nullptr);
    ::sigprocmask(SIG_UNBLOCK, &record.sa_mask, nullptr);
}

bool stopRequested() { return stopSignal != 0; }

void endIfStopRequested()
{
    const int signal = stopSignal;
    if (signal == 0) {
        return;
    }
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ::sigaction(signal, &fallback, nullptr);
    // Fails only for an invalid number; the caller's status then stands.
    static_cast<void>(::raise(signal));
}

void resetSignalsForProgram()
{
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    // SIGKILL, SIGSTOP and the C library's own signals refuse; they are default anyway.
    for (int signal = 1; signal < NSIG; ++signal) {
        ::sigaction(signal, &fallback, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace zel
