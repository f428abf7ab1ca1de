// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "app/caller_state.hpp"

#include "process/file_size_limit.hpp"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <linux/ioprio.h>
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

// Returns the soft limit now in force, or 0 where not even that can be read.
rlim_t resetLimit(const Limit& limit)
{
    const rlimit boot{limit.soft, limit.hard};
    if (::setrlimit(limit.resource, &boot) == 0) {
        return limit.soft;
    }
    rlimit caller{};
    if (::getrlimit(limit.resource, &caller) != 0) {
        return 0;
    }
    const rlimit best{std::min(limit.soft, caller.rlim_max), caller.rlim_max};
    return ::setrlimit(limit.resource, &best) == 0 ? best.rlim_cur : caller.rlim_cur;
}

void resetResourceLimits()
{
    for (const Limit& limit : kBootLimits) {
        const rlim_t soft = resetLimit(limit);
        if (limit.resource == RLIMIT_FSIZE) {
            noteFileSizeLimited(soft != kUnlimited);
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
    ::prctl(PR_SET_TIMERSLACK, kBootTimerSlackNs, 0UL, 0UL, 0UL);
    const sched_param normal{};
    ::sched_setscheduler(0, SCHED_OTHER, &normal);
    ::setpriority(PRIO_PROCESS, 0, 0);
    ::syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_NONE, 0));
    // Every CPU there is: the kernel keeps those the process may use.
    cpu_set_t everyCpu;
    std::memset(&everyCpu, 0xff, sizeof everyCpu);
    ::sched_setaffinity(0, sizeof everyCpu, &everyCpu);
    const int oomScore = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (oomScore >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(oomScore, "0", 1);
        ::close(oomScore);
    }
}

} // namespace

void undoCallerState()
{
    resetResourceLimits();
    resetScheduling();
}

} // namespace zel
