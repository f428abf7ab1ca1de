/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#define _GNU_SOURCE
#include "batch.h"
#include "client.h"
#include "deadline.h"
#include "export.h"
#include "thread.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

/* The call runs on a thread of its own, so that an event loop only ever polls
   a descriptor; the thread's one byte on `done` says the outcome is there. */
struct zel_call {
    const struct zel_client *client;
    struct zel_batch batch;
    long long deadline_ms;
    pthread_t thread;
    int done[2];
    int cancel[2];
    struct zel_outcome *outcome;
    int error;
};

static void close_pipes(struct zel_call *call)
{
    for (int end = 0; end < 2; ++end) {
        if (call->done[end] >= 0) {
            (void)close(call->done[end]);
        }
        if (call->cancel[end] >= 0) {
            (void)close(call->cancel[end]);
        }
    }
}

static void *work(void *argument)
{
    struct zel_call *call = argument;
    call->error = run_until(call->client, &call->batch, call->deadline_ms, call->cancel[0], &call->outcome);
    while (write(call->done[1], "", 1) < 0 && errno == EINTR) {
    }
    return NULL;
}

ZEL_API int zel_client_start(struct zel_client *client, const struct zel_batch *batch, unsigned timeout_ms,
                             struct zel_call **call)
{
    if (!client || !batch || batch->size == 0 || !call) {
        return -EINVAL;
    }
    struct zel_call *started = calloc(1, sizeof *started);
    if (!started) {
        return -ENOMEM;
    }
    started->client = client;
    started->batch = *batch;
    started->deadline_ms = now_ms() + timeout_ms;
    started->done[0] = started->done[1] = started->cancel[0] = started->cancel[1] = -1;
    int error = 0;
    if (pipe2(started->done, O_CLOEXEC) != 0 || pipe2(started->cancel, O_CLOEXEC | O_NONBLOCK) != 0) {
        error = -errno;
    } else {
        error = start_thread(&started->thread, work, started);
    }
    if (error) {
        close_pipes(started);
        free(started);
        return error;
    }
    *call = started;
    return 0;
}

ZEL_API int zel_call_fd(const struct zel_call *call) { return call->done[0]; }

ZEL_API void zel_call_cancel(struct zel_call *call)
{
    /* A write that finds the pipe full finds it readable already: nothing is lost. */
    if (write(call->cancel[1], "", 1) < 0) {
        return;
    }
}

ZEL_API int zel_call_finish(struct zel_call *call, struct zel_outcome **outcome)
{
    (void)pthread_join(call->thread, NULL);
    const int error = call->error;
    *outcome = call->outcome;
    close_pipes(call);
    free(call);
    return error;
}
