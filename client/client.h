/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_CLIENT_H
#define ZEL_CLIENT_CLIENT_H

#include "zel_client.h"

#include <stddef.h>

struct zel_client {
    char **command; /* argv before "-c", ending in NULL */
    size_t command_length;
    char *root; /* prefix of the lock's and the settings files' paths, "" for / */
};

/* `path` under the client's root; NULL when memory ran out. Freed by the caller. */
char *rooted_path(const struct zel_client *client, const char *path);

/* Opens the board's lock file and takes it with flock `operation` by
   `deadline_ms`: 0 with `fd` holding it, or with `fd` -1 where the file is
   missing or cannot be opened (the call then runs unserialised); -ETIMEDOUT,
   -ECANCELED. */
int take_board_lock(const struct zel_client *client, int operation, long long deadline_ms, int cancel_fd, int *fd);

/* The whole call: the board's lock, the runs of the tool, the retries; ends at
   `deadline_ms` or when `cancel_fd` (-1: none) becomes readable. */
int run_until(const struct zel_client *client, const struct zel_batch *batch, long long deadline_ms, int cancel_fd,
              struct zel_outcome **outcome);

#endif
