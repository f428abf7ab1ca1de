// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/posix_io.hpp"

#include "process/stop_signal.hpp"

#include <cerrno>
#include <cstring>
#include <ctime>

#include <unistd.h>

namespace zel {

void systemError(const std::string& label, std::string& error)
{
    const int cause = errno;
    error = label + ": " + std::strerror(cause);
}

bool writeAll(int fd, const std::string& data, std::string& error)
{
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t count = ::write(fd, data.data() + written, data.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            if (count == 0) {
                errno = EIO;
            }
            systemError("write", error);
            return false;
        }
    }
    return true;
}

void sleepUnlessStopped(int durationMs)
{
    // A signal between this test and the sleep's start still sleeps in full:
    // a window of a few instructions, and the motor goes off at the end of it.
    if (durationMs <= 0 || stopRequested()) {
        return;
    }
    const timespec duration{durationMs / 1000, static_cast<long>(durationMs % 1000) * 1000000L};
    ::nanosleep(&duration, nullptr);
}

} // namespace zel
