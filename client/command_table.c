/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "command_table.h"

#include "export.h"
#include "zel_client.h"

/* Each run of the pin-control or line-lookup program may take its 5 s limit and
   one poll period of the tool's runner; a PWM export waits up to 40 times 10 ms. */
enum { PROGRAM_RUN_MS = 5050, EXPORT_WAIT_MS = 400 };

/* The tool's own registry decides; a test holds every bound of this table
   against it, so that the two cannot drift apart. Columns: id, argument count,
   smallest and largest argument values, pulse, repeatable, name, fixed time,
   settings file. */
static const struct command commands[] = {
    {101, 1, {0}, {255000}, 0, 1, "fan-legacy", 0, NULL},
    {102, 1, {0}, {255000}, 0, 1, "fan-588", 2L * EXPORT_WAIT_MS, NULL},
    {103, 2, {8000, 0}, {40000, 1}, 0, 1, "fan-p5", EXPORT_WAIT_MS, NULL},
    {104, 1, {0}, {50000}, 0, 1, "fan-kylin", 2L * EXPORT_WAIT_MS, NULL},
    {105, 1, {1}, {5}, 0, 1, "fan-thermal", 0, NULL},
    {201, 1, {0}, {1}, 0, 1, "fan-mode", 0, "fanMode.config"},
    {202, 1, {0}, {6}, 0, 1, "fan-level", 0, "fanLevel.config"},
    {301, 1, {0}, {255}, 0, 1, "brightness-588", 0, NULL},
    {302, 2, {0, 0}, {255000, 255}, 0, 1, "brightness-p5", 0, "black.config"},
    {303, 1, {0}, {255}, 0, 1, "brightness-nx", 0, NULL},
    {401, 1, {0}, {60000}, 1, 0, "motor-588", 0, NULL},
    {402, 1, {0}, {60000}, 1, 0, "motor-p5", 2L * PROGRAM_RUN_MS, NULL},
    {403, 1, {0}, {60000}, 1, 0, "motor-nx", PROGRAM_RUN_MS, NULL},
    {501, 1, {0}, {1}, 0, 1, "device-power", 2L * PROGRAM_RUN_MS, NULL},
    {502, 0, {0}, {0}, 0, 1, "device-power-read", 2L * PROGRAM_RUN_MS, NULL},
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
