// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "base/posix_io.hpp"
#include "base/unique_fd.hpp"
#include "device/linux_device_io.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

namespace zel {

bool LinuxDeviceIo::writeSysfs(const std::string& path, const std::string& value, std::string& error)
{
    // No O_CREAT or O_TRUNC: a missing node is never created, and nothing is
    // cut before the file system has been checked.
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd) {
        systemError("open " + path, error);
        return false;
    }
    // Asked of the open descriptor, not the path, so a rename in between cannot fool it.
    struct statfs fileSystem {};
    if (::fstatfs(fd.get(), &fileSystem) != 0 || fileSystem.f_type != SYSFS_MAGIC) {
        error = "hardware node must reside in sysfs: " + path;
        return false;
    }
    const bool written = writeAll(fd.get(), value + "\n", error);
    const int closed = fd.close();
    if (!written) {
        return false;
    }
    if (closed != 0) {
        systemError("close " + path, error);
        return false;
    }
    return true;
}

} // namespace zel
