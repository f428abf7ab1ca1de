/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "command_table.h"

#include "export.h"
#include "zel_client.h"

/* Each run of the pin-control or line-lookup program may take its 5 s limit and
   one poll period of the tool's runner; a PWM export waits up to 40 times 10 ms. */
enum { PROGRAM_RUN_MS = 5050, EXPORT_WAIT_MS = 400 };

/* The tool's own registry decides; a test holds every bound of this table
   against it, so that the two cannot drift apart. */
static const struct command commands[] = {
    {101, "fan-legacy", 1, {0}, {255000}, 0, 0, 1, NULL},
    {102, "fan-588", 1, {0}, {255000}, 2 * EXPORT_WAIT_MS, 0, 1, NULL},
    {103, "fan-p5", 2, {8000, 0}, {40000, 1}, EXPORT_WAIT_MS, 0, 1, NULL},
    {104, "fan-kylin", 1, {0}, {50000}, 2 * EXPORT_WAIT_MS, 0, 1, NULL},
    {105, "fan-thermal", 1, {1}, {5}, 0, 0, 1, NULL},
    {201, "fan-mode", 1, {0}, {1}, 0, 0, 1, "fanMode.config"},
    {202, "fan-level", 1, {0}, {6}, 0, 0, 1, "fanLevel.config"},
    {301, "brightness-588", 1, {0}, {255}, 0, 0, 1, NULL},
    {302, "brightness-p5", 2, {0, 0}, {255000, 255}, 0, 0, 1, "black.config"},
    {303, "brightness-nx", 1, {0}, {255}, 0, 0, 1, NULL},
    {401, "motor-588", 1, {0}, {60000}, 0, 1, 0, NULL},
    {402, "motor-p5", 1, {0}, {60000}, 2 * PROGRAM_RUN_MS, 1, 0, NULL},
    {403, "motor-nx", 1, {0}, {60000}, PROGRAM_RUN_MS, 1, 0, NULL},
    {501, "device-power", 1, {0}, {1}, 2 * PROGRAM_RUN_MS, 0, 1, NULL},
    {502, "device-power-read", 0, {0}, {0}, 2 * PROGRAM_RUN_MS, 0, 1, NULL},
};
enum { COMMAND_COUNT = sizeof commands / sizeof commands[0] };

const struct command *find_command(int id)
{
    for (size_t i = 0; i < COMMAND_COUNT; ++i) {
        if (commands[i].id == id) {
            return &commands[i];
        }
    }
    return NULL;
}

ZEL_API size_t zel_command_count(void) { return COMMAND_COUNT; }

ZEL_API int zel_command_id(size_t index) { return index < COMMAND_COUNT ? commands[index].id : -1; }

ZEL_API const char *zel_command_name(int id)
{
    const struct command *command = find_command(id);
    return command ? command->name : NULL;
}

ZEL_API int zel_command_arg_count(int id)
{
    const struct command *command = find_command(id);
    return command ? command->arg_count : -1;
}

static const struct command *find_argument(int id, int arg)
{
    const struct command *command = find_command(id);
    return command && arg >= 0 && arg < command->arg_count ? command : NULL;
}

ZEL_API int zel_command_arg_min(int id, int arg)
{
    const struct command *command = find_argument(id, arg);
    return command ? command->min[arg] : -1;
}

ZEL_API int zel_command_arg_max(int id, int arg)
{
    const struct command *command = find_argument(id, arg);
    return command ? command->max[arg] : -1;
}

ZEL_API long zel_command_worst_case_ms(int id, const int *args, size_t count)
{
    const struct command *command = find_command(id);
    if (!command || count != (size_t)command->arg_count) {
        return -1;
    }
    return command->fixed_ms + (command->pulse && args[0] > 0 ? args[0] : 0);
}

ZEL_API bool zel_command_repeatable(int id)
{
    const struct command *command = find_command(id);
    return command && command->repeatable;
}
