/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "batch.h"
#include "client.h"
#include "deadline.h"
#include "export.h"
#include "thread.h"

#include <errno.h>
#include <pthread.h>
#include <stdlib.h>

/* One command from a UI control: a thread of its own sends the values one call
   at a time, so that submit never waits for the board. */
struct zel_submitter {
    struct zel_client *client;
    int id;
    enum zel_policy policy;
    unsigned timeout_ms;
    pthread_t thread;
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    bool pending;
    bool busy;
    bool closing;
    struct zel_batch next;
    struct zel_outcome *last;
    int last_error;
};

static void *work(void *argument)
{
    struct zel_submitter *submitter = argument;
    (void)pthread_mutex_lock(&submitter->mutex);
    for (;;) {
        while (!submitter->pending && !submitter->closing) {
            (void)pthread_cond_wait(&submitter->changed, &submitter->mutex);
        }
        /* A value submitted before the end is still sent: the slider's last position. */
        if (!submitter->pending) {
            break;
        }
        const struct zel_batch batch = submitter->next;
        submitter->pending = false;
        submitter->busy = true;
        (void)pthread_mutex_unlock(&submitter->mutex);

        struct zel_outcome *outcome = NULL;
        const int error = run_until(submitter->client, &batch, now_ms() + submitter->timeout_ms, -1, &outcome);

        (void)pthread_mutex_lock(&submitter->mutex);
        submitter->busy = false;
        zel_outcome_free(submitter->last);
        submitter->last = outcome;
        submitter->last_error = error;
        (void)pthread_cond_broadcast(&submitter->changed);
    }
    (void)pthread_mutex_unlock(&submitter->mutex);
    return NULL;
}

ZEL_API int zel_submitter_new(struct zel_client *client, int id, enum zel_policy policy, unsigned timeout_ms,
                              struct zel_submitter **submitter)
{
    if (!client || !find_command(id) || (policy != ZEL_POLICY_LATEST && policy != ZEL_POLICY_DROP) || !submitter) {
        return -EINVAL;
    }
    struct zel_submitter *created = calloc(1, sizeof *created);
    if (!created) {
        return -ENOMEM;
    }
    created->client = client;
    created->id = id;
    created->policy = policy;
    created->timeout_ms = timeout_ms;
    int error = -pthread_mutex_init(&created->mutex, NULL);
    if (!error && (error = -pthread_cond_init(&created->changed, NULL)) != 0) {
        (void)pthread_mutex_destroy(&created->mutex);
    }
    if (!error && (error = start_thread(&created->thread, work, created)) != 0) {
        (void)pthread_cond_destroy(&created->changed);
        (void)pthread_mutex_destroy(&created->mutex);
    }
    if (error) {
        free(created);
        return error;
    }
    *submitter = created;
    return 0;
}

/* 1 when the value will be sent, 0 when it was dropped, or a negative errno
   for a value the tool would refuse. */
ZEL_API int zel_submitter_submit(struct zel_submitter *submitter, const int *args, size_t count)
{
    struct zel_batch batch = {0};
    const int error = zel_batch_add(&batch, submitter->id, args, count);
    if (error) {
        return error;
    }
    (void)pthread_mutex_lock(&submitter->mutex);
    const bool dropped = submitter->policy == ZEL_POLICY_DROP && (submitter->busy || submitter->pending);
    if (!dropped) {
        submitter->next = batch;
        submitter->pending = true;
        (void)pthread_cond_broadcast(&submitter->changed);
    }
    (void)pthread_mutex_unlock(&submitter->mutex);
    return dropped ? 0 : 1;
}

ZEL_API int zel_submitter_wait(struct zel_submitter *submitter, struct zel_outcome **outcome)
{
    (void)pthread_mutex_lock(&submitter->mutex);
    while (submitter->busy || submitter->pending) {
        (void)pthread_cond_wait(&submitter->changed, &submitter->mutex);
    }
    *outcome = submitter->last;
    submitter->last = NULL;
    const int error = submitter->last_error;
    submitter->last_error = 0;
    (void)pthread_mutex_unlock(&submitter->mutex);
    return error;
}

ZEL_API void zel_submitter_free(struct zel_submitter *submitter)
{
    if (!submitter) {
        return;
    }
    (void)pthread_mutex_lock(&submitter->mutex);
    submitter->closing = true;
    (void)pthread_cond_broadcast(&submitter->changed);
    (void)pthread_mutex_unlock(&submitter->mutex);
    (void)pthread_join(submitter->thread, NULL);
    zel_outcome_free(submitter->last);
    (void)pthread_cond_destroy(&submitter->changed);
    (void)pthread_mutex_destroy(&submitter->mutex);
    free(submitter);
}
