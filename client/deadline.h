/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_DEADLINE_H
#define ZEL_CLIENT_DEADLINE_H

#include <stdbool.h>

/* Milliseconds of the monotonic clock, which no change of the wall clock moves. */
long long now_ms(void);

/* Waits until `until_ms`, or less when `cancel_fd` (-1: none) becomes readable;
   true when it did. */
bool wait_until(long long until_ms, int cancel_fd);

/* Tries flock(fd, operation | LOCK_NB) every few milliseconds until `deadline_ms`:
   0 when held, -ETIMEDOUT, -ECANCELED when `cancel_fd` became readable, or the
   negative errno of a failed flock. */
int lock_until(int fd, int operation, long long deadline_ms, int cancel_fd);

#endif
