/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "thread.h"

#include <signal.h>

int start_thread(pthread_t *thread, void *(*body)(void *), void *argument)
{
    sigset_t all;
    sigset_t before;
    (void)sigfillset(&all);
    int error = pthread_sigmask(SIG_SETMASK, &all, &before);
    if (error) {
        return -error;
    }
    error = pthread_create(thread, NULL, body, argument);
    (void)pthread_sigmask(SIG_SETMASK, &before, NULL);
    return -error;
}
