/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "client.h"

#include "batch.h"
#include "deadline.h"
#include "decode.h"
#include "export.h"
#include "invocation.h"
#include "outcome.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

static const char *const kDefaultCommand[] = {"/usr/bin/sudo", "-n", "/usr/bin/zel_exec", NULL};
/* Installed by the tool's package, readable by the group zel only, so that
   nobody else can hold it. */
static const char kBoardLock[] = "/var/lib/zel-exec/lock";
/* After the one SIGTERM, the command that runs completes; this much more, and
   the call stops waiting for it. */
enum { STOP_MARGIN_MS = 500 };
/* Between retries of a locked settings file: doubled each time, from half to
   one and a half times of it at random, so that two callers drift apart. */
enum { FIRST_BACKOFF_MS = 20, LONGEST_BACKOFF_MS = 320 };

static void free_strings(char **strings)
{
    for (char **string = strings; string && *string; ++string) {
        free(*string);
    }
    free(strings);
}

ZEL_API struct zel_client *zel_client_new(void)
{
    struct zel_client *client = calloc(1, sizeof *client);
    if (!client || zel_client_set_command(client, kDefaultCommand) != 0 || zel_client_set_root(client, "") != 0) {
        zel_client_free(client);
        return NULL;
    }
    return client;
}

ZEL_API void zel_client_free(struct zel_client *client)
{
    if (client) {
        free_strings(client->command);
        free(client->root);
        free(client);
    }
}

ZEL_API int zel_client_set_command(struct zel_client *client, const char *const *argv)
{
    if (!client || !argv || !argv[0]) {
        return -EINVAL;
    }
    size_t length = 0;
    while (argv[length]) {
        ++length;
    }
    char **copy = calloc(length + 1, sizeof *copy);
    for (size_t i = 0; copy && i < length; ++i) {
        if (!(copy[i] = strdup(argv[i]))) {
            free_strings(copy);
            copy = NULL;
        }
    }
    if (!copy) {
        return -ENOMEM;
    }
    free_strings(client->command);
    client->command = copy;
    client->command_length = length;
    return 0;
}

ZEL_API int zel_client_set_root(struct zel_client *client, const char *root)
{
    if (!client) {
        return -EINVAL;
    }
    char *copy = strdup(root ? root : "");
    if (!copy) {
        return -ENOMEM;
    }
    free(client->root);
    client->root = copy;
    return 0;
}

char *rooted_path(const struct zel_client *client, const char *path)
{
    const size_t root = strlen(client->root);
    char *rooted = malloc(root + strlen(path) + 1);
    if (rooted) {
        memcpy(rooted, client->root, root);
        memcpy(rooted + root, path, strlen(path) + 1);
    }
    return rooted;
}

int take_board_lock(const struct zel_client *client, int operation, long long deadline_ms, int cancel_fd, int *fd)
{
    char *path = rooted_path(client, kBoardLock);
    if (!path) {
        return -ENOMEM;
    }
    *fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY);
    free(path);
    if (*fd < 0) {
        return 0;
    }
    const int error = lock_until(*fd, operation, deadline_ms, cancel_fd);
    if (error) {
        (void)close(*fd);
        *fd = -1;
    }
    return error == -ETIMEDOUT || error == -ECANCELED ? error : 0;
}

/* xorshift64*: enough to spread retries, and no state shared between calls. */
static unsigned long next_random(unsigned long long *state)
{
    *state ^= *state >> 12;
    *state ^= *state << 25;
    *state ^= *state >> 27;
    return (unsigned long)((*state * 2685821657736338717ULL) >> 33);
}

/* Runs groups [first, ...) once, adding what it printed to the outcome. */
static int run_once(const struct zel_client *client, const struct zel_batch *batch, size_t first, long long deadline_ms,
                    int cancel_fd, struct zel_outcome *outcome, bool *lock_refused)
{
    const size_t groups = batch->size - first;
    char **argv = calloc(client->command_length + groups + 2, sizeof *argv);
    char(*texts)[GROUP_TEXT_SIZE] = calloc(groups, sizeof *texts);
    if (!argv || !texts) {
        free(argv);
        free(texts);
        return -ENOMEM;
    }
    memcpy(argv, client->command, client->command_length * sizeof *argv);
    argv[client->command_length] = "-c";
    for (size_t i = 0; i < groups; ++i) {
        format_group(&batch->groups[first + i], texts[i]);
        argv[client->command_length + 1 + i] = texts[i];
    }
    struct invocation run = {0};
    int error = invoke(argv, deadline_ms, worst_case_ms(batch, first) + STOP_MARGIN_MS, cancel_fd, &run);
    if (!error) {
        error = decode(&run, batch, first, outcome, lock_refused);
    }
    if (!error && run.out.length) {
        error = text_append(&outcome->out, run.out.data, run.out.length);
    }
    if (!error && run.err.length) {
        error = text_append(&outcome->err, run.err.data, run.err.length);
    }
    invocation_release(&run);
    free(texts);
    free(argv);
    return error;
}

/* The deadline ended the retries of a settings group refused for its file's
   lock: the outcome is that refusal, whether it came between two tries or
   stopped one before the group ran again. */
static int keep_refusal(struct zel_outcome *outcome, const struct zel_batch *batch, size_t refused,
                        const struct text *refusal)
{
    outcome->kind = ZEL_BUSY;
    outcome->group = (int)refused + 1;
    outcome->command = batch->groups[refused].command->id;
    outcome->status = 74;
    outcome->signal = 0;
    outcome->message.length = 0;
    return text_append(&outcome->message, refusal->data, refusal->length);
}

/* A settings group refused for its file's lock ran nothing: the call resumes
   there, so that no group before it runs twice. */
static int run_groups(const struct zel_client *client, const struct zel_batch *batch, long long deadline_ms,
                      int cancel_fd, struct zel_outcome *outcome)
{
    unsigned long long seed = (unsigned long long)now_ms() ^ ((unsigned long long)getpid() << 32) ^ (uintptr_t)outcome;
    long backoff = FIRST_BACKOFF_MS;
    size_t first = 0;
    struct text refusal = {NULL, 0};
    int error = 0;
    for (;;) {
        bool lock_refused;
        error = run_once(client, batch, first, deadline_ms, cancel_fd, outcome, &lock_refused);
        if (!error && refusal.data && outcome->kind == ZEL_TIMED_OUT && outcome->group == (int)first &&
            now_ms() >= deadline_ms) {
            error = keep_refusal(outcome, batch, first, &refusal);
            break;
        }
        if (error || !lock_refused) {
            break;
        }
        first = (size_t)outcome->group - 1;
        refusal.length = 0;
        if ((error = text_append(&refusal, outcome->message.data, outcome->message.length)) != 0) {
            break;
        }
        const long long resume = now_ms() + backoff / 2 + (long)(next_random(&seed) % (unsigned long)backoff);
        backoff = backoff * 2 < LONGEST_BACKOFF_MS ? backoff * 2 : LONGEST_BACKOFF_MS;
        if (resume >= deadline_ms) {
            error = keep_refusal(outcome, batch, first, &refusal);
            break;
        }
        if (wait_until(resume, cancel_fd)) {
            /* Stopped between two tries: what ran last is the group before the refused one. */
            outcome->kind = ZEL_TIMED_OUT;
            outcome->group = (int)first;
            break;
        }
    }
    free(refusal.data);
    return error;
}

int run_until(const struct zel_client *client, const struct zel_batch *batch, long long deadline_ms, int cancel_fd,
              struct zel_outcome **outcome)
{
    if (!client || !batch || batch->size == 0 || !outcome) {
        return -EINVAL;
    }
    struct zel_outcome *result = outcome_new();
    if (!result) {
        return -ENOMEM;
    }
    int lock;
    int error = take_board_lock(client, LOCK_EX, deadline_ms, cancel_fd, &lock);
    if (error == -ETIMEDOUT || error == -ECANCELED) {
        result->kind = error == -ETIMEDOUT ? ZEL_BUSY : ZEL_TIMED_OUT;
        error = 0;
    } else if (!error) {
        result->serialised = lock >= 0;
        error = run_groups(client, batch, deadline_ms, cancel_fd, result);
        if (lock >= 0) {
            (void)close(lock);
        }
    }
    if (error) {
        zel_outcome_free(result);
        return error;
    }
    *outcome = result;
    return 0;
}

ZEL_API int zel_client_run(struct zel_client *client, const struct zel_batch *batch, unsigned timeout_ms,
                           struct zel_outcome **outcome)
{
    return run_until(client, batch, now_ms() + timeout_ms, -1, outcome);
}
