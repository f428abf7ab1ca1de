// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
#pragma once

#include "device/linux_device_io.hpp"

#include <set>
#include <string>

namespace zel::test {

// The real device object with its sysfs writes logged ("<path>=<value>\n") instead of made. The calls whose
// numbers (from 1) are in `failing` fail with "fail <number>"; `onWrite` plays the kernel.
struct RecordingSysfsIo : LinuxDeviceIo {
    explicit RecordingSysfsIo(const std::set<int>& failing) : failing(failing) {}
    bool writeSysfs(const std::string& path, const std::string& value, std::string& error) override
    {
        writes += path + "=" + value + "\n";
        if (onWrite != nullptr) {
            onWrite();
        }
        const bool fails = failing.count(++calls) != 0;
        error = fails ? "fail " + std::to_string(calls) : error;
        return !fails;
    }
    std::set<int> failing;
    std::string writes;
    void (*onWrite)() = nullptr;
    int calls = 0;
};

} // namespace zel::test
