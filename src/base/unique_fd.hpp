// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "base/posix_io.hpp"

#include <unistd.h>

namespace zel {

// Owns one file descriptor and closes it when it goes out of scope, so that
// every early return releases what was opened. Where the result of the close
// matters (a completed write), call close() and check it.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            reset();
            fd_ = other.release();
        }
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

    int release()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

    // Closes without looking at the result.
    void reset() { ignoreResult(close()); }

    // Closes and returns the result of close(2); errno holds its cause.
    int close()
    {
        if (fd_ < 0) {
            return 0;
        }
        return ::close(release());
    }

private:
    int fd_ = -1;
};

} // namespace zel
