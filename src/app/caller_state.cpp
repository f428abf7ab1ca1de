// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/caller_state.hpp"

#include "base/file_size_limit.hpp"
#include "base/posix_io.hpp"
#include "base/stop_record.hpp"
#include "base/unique_fd.hpp"

#include <algorithm>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zel {
namespace {

// An enumeration in glibc's C++ headers, an int elsewhere.
using Resource = decltype(RLIMIT_CPU);

struct Limit {
    Resource resource;
    rlim_t soft;
    rlim_t hard;
};

constexpr rlim_t kUnlimited = RLIM_INFINITY;
constexpr rlim_t kBootStackBytes = rlim_t{8} * 1024 * 1024;
constexpr rlim_t kBootLockedBytes = rlim_t{8} * 1024 * 1024;
constexpr rlim_t kBootMessageQueueBytes = 819200;

// The kernel's limits for init, so a core dump of a root process lands
// nowhere; no count of processes or pending signals, where the kernel's own
// bound on threads applies.
constexpr Limit kBootLimits[] = {
    {RLIMIT_CPU, kUnlimited, kUnlimited},
    {RLIMIT_FSIZE, kUnlimited, kUnlimited},
    {RLIMIT_DATA, kUnlimited, kUnlimited},
    {RLIMIT_STACK, kBootStackBytes, kUnlimited},
    {RLIMIT_CORE, 0, kUnlimited},
    {RLIMIT_RSS, kUnlimited, kUnlimited},
    {RLIMIT_NPROC, kUnlimited, kUnlimited},
    {RLIMIT_NOFILE, 1024, 4096},
    {RLIMIT_MEMLOCK, kBootLockedBytes, kBootLockedBytes},
    {RLIMIT_AS, kUnlimited, kUnlimited},
    {RLIMIT_LOCKS, kUnlimited, kUnlimited},
    {RLIMIT_SIGPENDING, kUnlimited, kUnlimited},
    {RLIMIT_MSGQUEUE, kBootMessageQueueBytes, kBootMessageQueueBytes},
    {RLIMIT_NICE, 0, 0},
    {RLIMIT_RTPRIO, 0, 0},
    {RLIMIT_RTTIME, kUnlimited, kUnlimited},
};

// The kernel's default timer slack; 0 would give back the caller's.
constexpr unsigned long kBootTimerSlackNs = 50000;
constexpr char kBootOomScore[] = "0";
// ioprio_set's "this process" and the priority of class none, level 0, the one a process started at
// boot has. Not from <linux/ioprio.h>: newer kernels' copies define an inline function with a
// parameter named "class", which no C++ compiler takes.
constexpr int kIoprioWhoProcess = 1;
constexpr int kIoprioClassNone = 0;

// Returns whether the limit is the boot one now. Setting it fails only where
// its hard limit cannot be raised, and then the soft one goes as far as it can.
bool resetLimit(const Limit& limit)
{
    const rlimit boot{limit.soft, limit.hard};
    if (::setrlimit(limit.resource, &boot) == 0) {
        return true;
    }
    rlimit caller{};
    if (::getrlimit(limit.resource, &caller) == 0) {
        const rlimit best{std::min(limit.soft, caller.rlim_max), caller.rlim_max};
        ignoreResult(::setrlimit(limit.resource, &best));
    }
    return false;
}

void resetResourceLimits()
{
    for (const Limit& limit : kBootLimits) {
        const bool reset = resetLimit(limit);
        if (limit.resource == RLIMIT_FSIZE) {
            noteFileSizeLimited(!reset);
        }
    }
}

// Each call needs a privilege that only root has, and root may lack one too
// (an out-of-memory score below the minimum that a service manager set needs
// CAP_SYS_RESOURCE): what can be undone is, and the results are not looked
// at. A caller who is not root gets no further than the help or the
// permission message, which need none of this.
void resetScheduling()
{
    ignoreResult(::prctl(PR_SET_TIMERSLACK, kBootTimerSlackNs, 0UL, 0UL, 0UL));
    const sched_param normal{};
    ignoreResult(::sched_setscheduler(0, SCHED_OTHER, &normal));
    ignoreResult(::setpriority(PRIO_PROCESS, 0, 0));
    ignoreResult(::syscall(SYS_ioprio_set, kIoprioWhoProcess, 0, kIoprioClassNone));
    // Every CPU there is: the kernel keeps those the process may use.
    cpu_set_t everyCpu;
    std::memset(&everyCpu, 0xff, sizeof everyCpu);
    ignoreResult(::sched_setaffinity(0, sizeof everyCpu, &everyCpu));
    const UniqueFd oomScore(::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
    if (oomScore) {
        ignoreResult(::write(oomScore.get(), kBootOomScore, sizeof kBootOomScore - 1));
    }
}

constexpr int kRelayedSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2};
constexpr int kIgnoredSignals[] = {SIGTSTP, SIGTTIN, SIGTTOU, SIGXFSZ};

// A SIGPIPE the kernel raises for the tool's own write to a closed stream
// comes from the tool itself; only one sent from outside is a stop request.
bool raisedByOwnWrite(int signal, const siginfo_t* info)
{
    return signal == SIGPIPE && info->si_code == SI_USER && info->si_pid == ::getpid();
}

void recordRelayedSignal(int signal, siginfo_t* info, void* /*context*/)
{
    if (!raisedByOwnWrite(signal, info)) {
        recordStopSignal(signal);
    }
}

// Only invalid arguments make these calls fail, and the arguments are constants.
void overrideCallerSignals()
{
    struct sigaction record {};
    record.sa_sigaction = recordRelayedSignal;
    // No SA_RESTART: a write blocked on a stream nobody reads must return to
    // its loop, which gives up once a stop has been requested. Every other
    // blocking call of the tool repeats itself after EINTR.
    record.sa_flags = SA_SIGINFO;
    ignoreResult(sigemptyset(&record.sa_mask));
    for (const int signal : kRelayedSignals) {
        ignoreResult(sigaddset(&record.sa_mask, signal));
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    for (const int signal : kRelayedSignals) {
        ignoreResult(::sigaction(signal, &record, nullptr));
    }
    for (const int signal : kIgnoredSignals) {
        ignoreResult(::sigaction(signal, &ignore, nullptr));
    }
    // Where the caller ignored SIGCHLD, the kernel would reap the fixed
    // programs before the runner could learn how they ended.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ignoreResult(::sigaction(SIGCHLD, &fallback, nullptr));
    ignoreResult(::sigprocmask(SIG_UNBLOCK, &record.sa_mask, nullptr));
}

} // namespace

void undoCallerState()
{
    resetResourceLimits();
    resetScheduling();
    overrideCallerSignals();
}

void endIfStopRequested()
{
    const int signal = stopSignalNumber();
    if (signal == 0) {
        return;
    }
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ignoreResult(::sigaction(signal, &fallback, nullptr));
    // Fails only for an invalid number; the caller's status then stands.
    ignoreResult(::raise(signal));
}

} // namespace zel
