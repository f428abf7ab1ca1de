/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#ifndef ZEL_CLIENT_BATCH_H
#define ZEL_CLIENT_BATCH_H

#include "command_table.h"

/* A group as the tool reads it: "ID ARG ARG", at most 3 numbers of 10 digits. */
enum { GROUP_TEXT_SIZE = 3 * 11 + 1 };

struct batch_group {
    const struct command *command;
    int args[MAX_ARGS];
};

struct zel_batch {
    size_t size;
    struct batch_group groups[MAX_GROUPS];
};

void format_group(const struct batch_group *group, char text[GROUP_TEXT_SIZE]);

/* The longest the tool may take for groups [first, end) by design. */
long worst_case_ms(const struct zel_batch *batch, size_t first);

#endif
