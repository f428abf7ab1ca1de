/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "batch.h"
#include "client.h"
#include "deadline.h"
#include "export.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

/* What the tool writes: the prefix, the value as %d gives it, one line feed. */
static const struct {
    const char *path;
    const char *prefix;
    int max;
} kSettings[] = {
    [ZEL_SETTING_FAN_MODE] = {"/etc/zel/fanMode.config", "", 1},
    [ZEL_SETTING_FAN_LEVEL] = {"/etc/zel/fanLevel.config", "", 6},
    [ZEL_SETTING_BLACK] = {"/etc/device/black.config", "BRIGHTNESS=", 255},
};
/* The longest content the tool writes, and a byte more to see that it ends. */
enum { SETTING_TEXT_SIZE = 24 };
/* The lines whose levels device-power-read prints, in its order. */
static const int kPowerLines[2] = {7, 21};

/* The value, or -1 for anything the tool would not have written: an empty
   file (a first save that another reader's lock refused), another format. */
static int parse_setting(const char *text, size_t length, const char *prefix, int max)
{
    const size_t skip = strlen(prefix);
    if (length < skip + 2 || memcmp(text, prefix, skip) != 0 || text[length - 1] != '\n') {
        return -1;
    }
    const char *digit = text + skip;
    const char *end = text + length - 1;
    if (digit[0] == '0' && end - digit > 1) {
        return -1;
    }
    int value = 0;
    for (; digit < end; ++digit) {
        if (*digit < '0' || *digit > '9' || value > max) {
            return -1;
        }
        value = value * 10 + (*digit - '0');
    }
    return value <= max ? value : -1;
}

static ssize_t read_whole(int fd, char *buffer, size_t size)
{
    size_t length = 0;
    while (length < size) {
        const ssize_t count = read(fd, buffer + length, size - length);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return -errno;
        }
        if (count == 0) {
            break;
        }
        length += (size_t)count;
    }
    return (ssize_t)length;
}

static int read_locked(const struct zel_client *client, enum zel_setting setting, long long deadline_ms, int *value)
{
    char *path = rooted_path(client, kSettings[setting].path);
    if (!path) {
        return -ENOMEM;
    }
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK);
    free(path);
    if (fd < 0) {
        return errno == ENOENT ? 0 : -errno;
    }
    /* A writer that is no client holds the file's own lock while it rewrites it. */
    int result = lock_until(fd, LOCK_SH, deadline_ms, -1);
    char text[SETTING_TEXT_SIZE];
    const ssize_t length = result ? 0 : read_whole(fd, text, sizeof text);
    (void)close(fd);
    if (result || length < 0) {
        return result ? result : (int)length;
    }
    const int parsed = parse_setting(text, (size_t)length, kSettings[setting].prefix, kSettings[setting].max);
    if (parsed < 0) {
        return 0;
    }
    *value = parsed;
    return 1;
}

/* 1 with the value, 0 when the board holds none (missing, empty or not the
   tool's), or a negative errno. */
ZEL_API int zel_client_read_setting(struct zel_client *client, enum zel_setting setting, unsigned timeout_ms,
                                    int *value)
{
    if (!client || (unsigned)setting >= sizeof kSettings / sizeof kSettings[0] || !value) {
        return -EINVAL;
    }
    const long long deadline_ms = now_ms() + timeout_ms;
    int lock;
    int result = take_board_lock(client, LOCK_SH, deadline_ms, -1, &lock);
    if (!result) {
        result = read_locked(client, setting, deadline_ms, value);
        if (lock >= 0) {
            (void)close(lock);
        }
    }
    return result;
}

/* "7: op dh | hi // GPIO7 = output": the line's number, then its level after the bar. */
static const char *parse_power_line(const char *line, int number, bool *high)
{
    while (*line == ' ') {
        ++line;
    }
    int value = 0;
    const char *digit = line;
    for (; *digit >= '0' && *digit <= '9' && value < 1000; ++digit) {
        value = value * 10 + (*digit - '0');
    }
    const char *end = strchr(line, '\n');
    const char *bar = strchr(line, '|');
    if (digit == line || value != number || *digit != ':' || !end || !bar || bar > end) {
        return NULL;
    }
    for (++bar; *bar == ' '; ++bar) {
    }
    if (strncmp(bar, "hi", 2) != 0 && strncmp(bar, "lo", 2) != 0) {
        return NULL;
    }
    *high = bar[0] == 'h';
    return end + 1;
}

ZEL_API int zel_client_read_power(struct zel_client *client, unsigned timeout_ms, bool power[2],
                                  struct zel_outcome **outcome)
{
    struct zel_batch batch = {0};
    int error = zel_batch_add(&batch, 502, NULL, 0);
    if (error || (error = run_until(client, &batch, now_ms() + timeout_ms, -1, outcome)) != 0) {
        return error;
    }
    if (zel_outcome_kind(*outcome) != ZEL_OK) {
        return -EIO;
    }
    const char *line = zel_outcome_stdout(*outcome, NULL);
    bool high[2];
    for (int i = 0; i < 2 && line; ++i) {
        line = parse_power_line(line, kPowerLines[i], &high[i]);
    }
    if (!line || *line) {
        return -EPROTO;
    }
    power[0] = high[0];
    power[1] = high[1];
    return 0;
}
