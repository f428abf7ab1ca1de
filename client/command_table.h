/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_COMMAND_TABLE_H
#define ZEL_CLIENT_COMMAND_TABLE_H

#include <stddef.h>

enum { MAX_ARGS = 2, MAX_GROUPS = 64 };

/* One command as the tool accepts it, and what a caller must know of it. */
struct command {
    int id;
    int arg_count;
    int min[MAX_ARGS];
    int max[MAX_ARGS];
    /* The first argument is a pulse length in milliseconds, added to fixed_ms. */
    int pulse;
    /* Running it twice does what running it once does. */
    int repeatable;
    const char *name;
    /* How long the tool may take by design, not counting a pulse. */
    long fixed_ms;
    /* The settings file it rewrites, whose lock another reader may hold; NULL for none. */
    const char *settings_file;
};

const struct command *find_command(int id);

#endif
