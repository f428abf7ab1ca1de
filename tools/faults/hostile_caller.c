/* SPDX-FileCopyrightText: 2026 The zel_exec developers
 * SPDX-License-Identifier: MIT */
/* hostile_caller DIRECTORY PROGRAM [ARGUMENT...]: starts PROGRAM the way a
 * careless front-end's sudo could: in DIRECTORY, with every signal blocked,
 * the stop signals and SIGCHLD ignored, no room to write a file and few descriptors. Only
 * the soft limits are lowered: a root without CAP_SYS_RESOURCE, such as this
 * test's in a container, could not raise lowered hard ones back. */
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    static const int ignored[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGALRM, SIGTERM,
                                  SIGUSR1, SIGUSR2, SIGTSTP, SIGPIPE, SIGCHLD};
    struct rlimit noRoom;
    struct rlimit fewFiles;
    sigset_t all;
    if (argc < 3 || chdir(argv[1]) != 0 || getrlimit(RLIMIT_FSIZE, &noRoom) != 0 ||
        getrlimit(RLIMIT_NOFILE, &fewFiles) != 0) {
        perror("hostile_caller");
        return 2;
    }
    noRoom.rlim_cur = 0;
    fewFiles.rlim_cur = 8;
    if (setrlimit(RLIMIT_FSIZE, &noRoom) != 0 || setrlimit(RLIMIT_NOFILE, &fewFiles) != 0 || sigfillset(&all) != 0 ||
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
    execv(argv[2], argv + 2);
    perror("hostile_caller");
    return 2;
}
