/* SPDX-FileCopyrightText: 2026 The zel_exec developers
 * SPDX-License-Identifier: MIT */
/* Stand-in for pinctrl and gpiofind in the fault table. Exits 3 unless handed
 * exactly descriptors 0 to 2, and 5 unless started clean of its caller's state:
 * working directory /, default signal dispositions, nothing blocked, the
 * limits of a process started at boot (or, where a hard limit is lower, that
 * hard limit), the default timer slack, nice 0, normal CPU and I/O
 * scheduling on every CPU init may use, an out-of-memory score of 0. Logs the
 * run, answers like the real program, hangs with a descendant while
 * /run/zel-fake/hang exists, names a linked GPIO chip while
 * /run/zel-fake/link exists, answers "get" on both streams while
 * /run/zel-fake/talk exists, and lingers 0.2 s after closing both streams
 * while /run/zel-fake/linger exists. Built static, so that its own few system calls
 * do not disturb the counting in children. */
#define _GNU_SOURCE /* CPU sets, scheduling */
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/ioprio.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

static int leakedDescriptors(void)
{
    int leaked = fcntl(0, F_GETFD) < 0 || fcntl(1, F_GETFD) < 0 || fcntl(2, F_GETFD) < 0;
    DIR* fds = opendir("/proc/self/fd");
    leaked |= fds == NULL;
    for (struct dirent* entry; fds != NULL && (entry = readdir(fds)) != NULL;) {
        leaked |= entry->d_name[0] != '.' && atoi(entry->d_name) > 2 && atoi(entry->d_name) != dirfd(fds);
    }
    if (fds != NULL) {
        closedir(fds);
    }
    return leaked;
}

#define UNLIMITED RLIM_INFINITY
static const struct {
    int resource;
    rlim_t soft;
    rlim_t hard;
} bootLimits[] = {
    {RLIMIT_CPU, UNLIMITED, UNLIMITED},
    {RLIMIT_FSIZE, UNLIMITED, UNLIMITED},
    {RLIMIT_DATA, UNLIMITED, UNLIMITED},
    {RLIMIT_STACK, 8 << 20, UNLIMITED},
    {RLIMIT_CORE, 0, UNLIMITED},
    {RLIMIT_RSS, UNLIMITED, UNLIMITED},
    {RLIMIT_NPROC, UNLIMITED, UNLIMITED},
    {RLIMIT_NOFILE, 1024, 4096},
    {RLIMIT_MEMLOCK, 8 << 20, 8 << 20},
    {RLIMIT_AS, UNLIMITED, UNLIMITED},
    {RLIMIT_LOCKS, UNLIMITED, UNLIMITED},
    {RLIMIT_SIGPENDING, UNLIMITED, UNLIMITED},
    {RLIMIT_MSGQUEUE, 819200, 819200},
    {RLIMIT_NICE, 0, 0},
    {RLIMIT_RTPRIO, 0, 0},
    {RLIMIT_RTTIME, UNLIMITED, UNLIMITED},
};

static int inheritedLimits(void)
{
    int inherited = 0;
    for (size_t i = 0; i < sizeof bootLimits / sizeof bootLimits[0]; ++i) {
        struct rlimit limit;
        inherited |= getrlimit(bootLimits[i].resource, &limit) != 0 || limit.rlim_max > bootLimits[i].hard ||
                     limit.rlim_cur != (bootLimits[i].soft < limit.rlim_max ? bootLimits[i].soft : limit.rlim_max);
    }
    return inherited;
}

static int inheritedScheduling(void)
{
    cpu_set_t mine;
    cpu_set_t init;
    char score[8] = "";
    const int oom = open("/proc/self/oom_score_adj", O_RDONLY | O_CLOEXEC);
    const ssize_t scored = oom >= 0 ? read(oom, score, sizeof score - 1) : -1;
    if (oom >= 0) {
        close(oom);
    }
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, 0);
    return errno != 0 || nice != 0 || prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0) != 50000 ||
           sched_getscheduler(0) != SCHED_OTHER || sched_getaffinity(0, sizeof mine, &mine) != 0 ||
           sched_getaffinity(1, sizeof init, &init) != 0 || !CPU_EQUAL(&mine, &init) || scored != 2 ||
           strcmp(score, "0\n") != 0 || syscall(SYS_ioprio_get, IOPRIO_WHO_PROCESS, 0) != 0;
}

static int inheritedCallerState(void)
{
    char directory[2];
    sigset_t blocked;
    int inherited = getcwd(directory, sizeof directory) == NULL || strcmp(directory, "/") != 0 ||
                    sigprocmask(SIG_SETMASK, NULL, &blocked) != 0 || inheritedLimits() || inheritedScheduling();
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action;
        inherited |= sigismember(&blocked, signal) == 1 ||
                     (sigaction(signal, NULL, &action) == 0 && action.sa_handler != SIG_DFL);
    }
    return inherited;
}

int main(int argc, char** argv)
{
    if (leakedDescriptors()) {
        return 3;
    }
    if (inheritedCallerState()) {
        return 5;
    }
    FILE* runs = fopen("/run/zel-fake/runs", "ae");
    FILE* pids = fopen("/run/zel-fake/pids", "ae");
    if (runs == NULL || pids == NULL) {
        return 3;
    }
    const int find = strcmp(strrchr(argv[0], '/') + 1, "gpiofind") == 0;
    fprintf(runs, "%s%s\n", find ? "find" : argc > 2 ? argv[2] : "", !find && argc > 4 ? argv[4] : "");
    fclose(runs);
    const int hang = access("/run/zel-fake/hang", F_OK) == 0;
    if (hang && fork() < 0) { /* a descendant, which only a kill of the whole group reaches */
        return 4;
    }
    fprintf(pids, "%d\n", (int)getpid());
    fclose(pids);
    sleep(hang ? 60 : 0);
    if (access("/run/zel-fake/linger", F_OK) == 0) { /* the runner sees both ends close before the exit */
        close(1);
        close(2);
        usleep(200000);
    }
    if (!find && strcmp(argv[1], "get") == 0 && access("/run/zel-fake/talk", F_OK) == 0) {
        return printf("%s: lo\n", argv[2]) < 0 || fprintf(stderr, "warning %s\n", argv[2]) < 0;
    }
    return find && puts(access("/run/zel-fake/link", F_OK) == 0 ? "gpiochip1 12" : "gpiochip0 12") < 0;
}
