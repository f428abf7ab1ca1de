/* SPDX-FileCopyrightText: 2026 The zel_exec developers
 * SPDX-License-Identifier: MIT */
/* hostile_caller soft|hard DIRECTORY PROGRAM [ARGUMENT...]: starts PROGRAM the
 * way a careless front-end's sudo could: in DIRECTORY, with every signal
 * blocked, the stop signals, SIGPIPE and SIGCHLD ignored, low soft limits
 * (no room to write a file, few descriptors), the largest timer slack, nice
 * 19, idle CPU and I/O scheduling on one CPU, and first in line for the
 * out-of-memory killer. "soft" lowers only soft limits: a root without
 * CAP_SYS_RESOURCE, such as this test's in a container, could not raise
 * lowered hard ones back. "hard" takes CAP_SYS_RESOURCE out of PROGRAM's
 * reach and lowers the hard file-size limit to 0 as well, a limit PROGRAM
 * cannot lift. */
#define _GNU_SOURCE /* CPU sets, scheduling */
#include <fcntl.h>
#include <linux/ioprio.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/capability.h>

static const int ignored[] = {SIGHUP, SIGINT, SIGQUIT, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGTSTP, SIGPIPE, SIGCHLD};

static const struct {
    int resource;
    rlim_t soft;
} lowered[] = {
    {RLIMIT_FSIZE, 0},      {RLIMIT_NOFILE, 8},   {RLIMIT_CPU, 10},  {RLIMIT_STACK, 1 << 20},
    {RLIMIT_DATA, 1 << 30}, {RLIMIT_AS, 1 << 30}, {RLIMIT_NPROC, 1}, {RLIMIT_SIGPENDING, 1},
    {RLIMIT_MEMLOCK, 0},    {RLIMIT_MSGQUEUE, 0}, {RLIMIT_LOCKS, 0}, {RLIMIT_RTTIME, 1},
};

static int lowerLimits(int hard)
{
    for (size_t i = 0; i < sizeof lowered / sizeof lowered[0]; ++i) {
        struct rlimit limit;
        if (getrlimit(lowered[i].resource, &limit) != 0) {
            return -1;
        }
        limit.rlim_cur = lowered[i].soft < limit.rlim_cur ? lowered[i].soft : limit.rlim_cur;
        if (hard && lowered[i].resource == RLIMIT_FSIZE) {
            limit.rlim_max = 0;
        }
        if (setrlimit(lowered[i].resource, &limit) != 0) {
            return -1;
        }
    }
    return hard ? prctl(PR_CAPBSET_DROP, CAP_SYS_RESOURCE, 0, 0, 0) : 0;
}

static int lowerPriority(void)
{
    const struct sched_param none = {0};
    cpu_set_t first;
    CPU_ZERO(&first);
    CPU_SET(0, &first);
    const int oom = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    const int scored = oom >= 0 && write(oom, "1000", 4) == 4;
    if (oom >= 0) {
        close(oom);
    }
    return scored && prctl(PR_SET_TIMERSLACK, ~0UL, 0, 0, 0) == 0 && setpriority(PRIO_PROCESS, 0, 19) == 0 &&
                   sched_setscheduler(0, SCHED_IDLE, &none) == 0 && sched_setaffinity(0, sizeof first, &first) == 0 &&
                   syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0)) == 0
               ? 0
               : -1;
}

int main(int argc, char** argv)
{
    sigset_t all;
    if (argc < 4 || (strcmp(argv[1], "soft") != 0 && strcmp(argv[1], "hard") != 0) || chdir(argv[2]) != 0 ||
        lowerLimits(strcmp(argv[1], "hard") == 0) != 0 || lowerPriority() != 0 || sigfillset(&all) != 0 ||
        sigprocmask(SIG_SETMASK, &all, NULL) != 0) {
        perror("hostile_caller");
        return 2;
    }
    for (size_t i = 0; i < sizeof ignored / sizeof ignored[0]; ++i) {
        if (signal(ignored[i], SIG_IGN) == SIG_ERR) {
            perror("hostile_caller");
            return 2;
        }
    }
    execv(argv[3], argv + 3);
    perror("hostile_caller");
    return 2;
}
