/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "batch.h"

#include "export.h"
#include "zel_client.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

ZEL_API struct zel_batch *zel_batch_new(void) { return calloc(1, sizeof(struct zel_batch)); }

ZEL_API void zel_batch_free(struct zel_batch *batch) { free(batch); }

/* Everything the tool would refuse is refused here, before anything runs. */
ZEL_API int zel_batch_add(struct zel_batch *batch, int id, const int *args, size_t count)
{
    const struct command *command = find_command(id);
    if (!batch || !command || count != (size_t)command->arg_count || (count > 0 && !args)) {
        return -EINVAL;
    }
    if (batch->size == MAX_GROUPS) {
        return -E2BIG;
    }
    struct batch_group *group = &batch->groups[batch->size];
    for (size_t i = 0; i < count; ++i) {
        if (args[i] < command->min[i] || args[i] > command->max[i]) {
            return -ERANGE;
        }
        group->args[i] = args[i];
    }
    group->command = command;
    ++batch->size;
    return 0;
}

ZEL_API size_t zel_batch_size(const struct zel_batch *batch) { return batch ? batch->size : 0; }

void format_group(const struct batch_group *group, char text[GROUP_TEXT_SIZE])
{
    int length = snprintf(text, GROUP_TEXT_SIZE, "%d", group->command->id);
    for (int i = 0; i < group->command->arg_count; ++i) {
        length += snprintf(text + length, (size_t)(GROUP_TEXT_SIZE - length), " %d", group->args[i]);
    }
}

long worst_case_ms(const struct zel_batch *batch, size_t first)
{
    long longest = 0;
    for (size_t i = first; i < batch->size; ++i) {
        const struct batch_group *group = &batch->groups[i];
        const long ms = zel_command_worst_case_ms(group->command->id, group->args, (size_t)group->command->arg_count);
        longest = ms > longest ? ms : longest;
    }
    return longest;
}
