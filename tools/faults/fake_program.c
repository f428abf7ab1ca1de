/* SPDX-FileCopyrightText: 2026 The zel_exec developers
 * SPDX-License-Identifier: MIT */
/* Stand-in for pinctrl and gpiofind in the fault table. Exits 3 unless handed
 * exactly descriptors 0 to 2, and 5 unless started clean of its caller's state:
 * working directory /, default signal dispositions, nothing blocked, at least
 * 1024 descriptors, no file-size limit. Logs the run, answers like the real
 * program, hangs with a descendant while /run/zel-fake/hang exists, names a
 * linked GPIO chip while /run/zel-fake/link exists. Built static, so that its
 * own few system calls do not disturb the counting in children. */
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
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

static int inheritedCallerState(void)
{
    char directory[2];
    sigset_t blocked;
    struct rlimit files;
    struct rlimit size;
    int inherited = getcwd(directory, sizeof directory) == NULL || strcmp(directory, "/") != 0 ||
                    sigprocmask(SIG_SETMASK, NULL, &blocked) != 0 || getrlimit(RLIMIT_NOFILE, &files) != 0 ||
                    getrlimit(RLIMIT_FSIZE, &size) != 0 || files.rlim_cur < 1024 || size.rlim_cur != RLIM_INFINITY;
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
    return find && puts(access("/run/zel-fake/link", F_OK) == 0 ? "gpiochip1 12" : "gpiochip0 12") < 0;
}
