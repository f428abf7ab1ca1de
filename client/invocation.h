/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_INVOCATION_H
#define ZEL_CLIENT_INVOCATION_H

#include "outcome.h"

#include <stdbool.h>

/* One start of the command and how it ended. */
struct invocation {
    int spawn_error; /* errno of a start that failed, 0 when it started */
    bool ended;      /* reaped; wait_status holds how it ended */
    int wait_status;
    bool stopped; /* the client sent its one SIGTERM: deadline or cancel */
    struct text out;
    struct text err;
};

/* Runs argv (absolute or relative path, no PATH search) in a session of its own,
   with standard input /dev/null and the two output streams collected, until it
   ends. At `deadline_ms`, or when `cancel_fd` becomes readable, it gets one
   SIGTERM; `grace_ms` later, SIGKILL, and the streams are no longer waited for.
   0, or a negative errno when the library itself failed. */
int invoke(char *const argv[], long long deadline_ms, long grace_ms, int cancel_fd, struct invocation *run);

void invocation_release(struct invocation *run);

#endif
