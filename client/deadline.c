/* SPDX-FileCopyrightText: 2026 The zel_exec developers */
/* SPDX-License-Identifier: MIT */
#include "deadline.h"

#include <errno.h>
#include <poll.h>
#include <sys/file.h>
#include <time.h>

enum { LOCK_RETRY_MS = 5 };

long long now_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

bool wait_until(long long until_ms, int cancel_fd)
{
    for (;;) {
        const long long left = until_ms - now_ms();
        if (left <= 0) {
            return false;
        }
        struct pollfd cancel = {cancel_fd, POLLIN, 0};
        const int ready = poll(&cancel, 1, left > 1000 ? 1000 : (int)left);
        if (ready > 0) {
            return true;
        }
    }
}

int lock_until(int fd, int operation, long long deadline_ms, int cancel_fd)
{
    for (;;) {
        if (flock(fd, operation | LOCK_NB) == 0) {
            return 0;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return -errno;
        }
        const long long now = now_ms();
        if (now >= deadline_ms) {
            return -ETIMEDOUT;
        }
        const long long next = now + LOCK_RETRY_MS;
        if (wait_until(next < deadline_ms ? next : deadline_ms, cancel_fd)) {
            return -ECANCELED;
        }
    }
}
