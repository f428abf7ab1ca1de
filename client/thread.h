/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_THREAD_H
#define ZEL_CLIENT_THREAD_H

#include <pthread.h>

/* pthread_create with every signal blocked in the new thread, so that the
   program's signals go to its own threads: 0 or a negative errno. */
int start_thread(pthread_t *thread, void *(*body)(void *), void *argument);

#endif
