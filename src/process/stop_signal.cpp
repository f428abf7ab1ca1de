// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "process/stop_signal.hpp"

#include <csignal>

#include <unistd.h>

namespace zel {
namespace {

constexpr int kRelayedSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2};
constexpr int kIgnoredSignals[] = {SIGTSTP, SIGTTIN, SIGTTOU, SIGXFSZ};

volatile std::sig_atomic_t stopSignal = 0;

// A SIGPIPE the kernel raises for the tool's own write to a closed stream
// comes from the tool itself; only one sent from outside is a stop request.
bool raisedByOwnWrite(int signal, const siginfo_t* info)
{
    return signal == SIGPIPE && info->si_code == SI_USER && info->si_pid == ::getpid();
}

// The first signal decides how the process ends; a later one changes nothing.
void recordStopSignal(int signal, siginfo_t* info, void* /*context*/)
{
    if (stopSignal == 0 && !raisedByOwnWrite(signal, info)) {
        stopSignal = signal;
    }
}

} // namespace

void overrideCallerSignals()
{
    struct sigaction record {};
    record.sa_sigaction = recordStopSignal;
    // No SA_RESTART: a write blocked on a stream nobody reads must return to
    // its loop, which gives up once a stop has been requested. Every other
    // blocking call of the tool repeats itself after EINTR.
    record.sa_flags = SA_SIGINFO;
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
    for (const int signal : kIgnoredSignals) {
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

int stopSignalNumber() { return stopSignal; }

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
