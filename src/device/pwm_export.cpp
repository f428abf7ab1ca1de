// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#include "device/linux_device_io.hpp"

#include "base/posix_io.hpp"

#include <ctime>

#include <sys/stat.h>

namespace zel {
namespace {

// The kernel creates the channel directory shortly after the export write:
// 40 tests 10 ms apart bound the wait at about 400 ms.
constexpr int kExportTests = 40;
constexpr timespec kExportTestInterval{0, 10000000L};

bool isDirectory(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

bool LinuxDeviceIo::ensurePwm(const std::string& chip, int channel, std::string& error)
{
    const std::string number = std::to_string(channel);
    const std::string channelDirectory = chip + "/pwm" + number;
    if (isDirectory(channelDirectory)) {
        return true;
    }
    if (!writeSysfs(chip + "/export", number, error)) {
        // The kernel refuses to export a channel twice: someone else was quicker.
        if (!isDirectory(channelDirectory)) {
            return false;
        }
        error.clear();
        return true;
    }
    for (int test = 0; test < kExportTests; ++test) {
        if (isDirectory(channelDirectory)) {
            return true;
        }
        ignoreResult(::nanosleep(&kExportTestInterval, nullptr));
    }
    error = "PWM export timed out: " + channelDirectory;
    return false;
}

} // namespace zel
