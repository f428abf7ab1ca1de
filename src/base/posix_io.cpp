// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/posix_io.hpp"

#include <cerrno>
#include <cstring>

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

} // namespace zel
