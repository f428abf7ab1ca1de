// SPDX-FileCopyrightText: 2026 The zel_exec developers
// SPDX-License-Identifier: MIT
// COUNT guarded sysfs writes of VALUE into PATH, through the same code as the
// tool. Run under strace -f -c twice with different counts: the difference,
// divided, is the cost of one write with the process start-up taken out.
//
//   zel_bench_sysfs PATH VALUE COUNT
#include "device/linux_device_io.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: zel_bench_sysfs PATH VALUE COUNT\n");
        return 2;
    }
    zel::LinuxDeviceIo io;
    const std::string path = argv[1];
    const std::string value = argv[2];
    std::string error;
    for (int write = std::atoi(argv[3]); write > 0; --write) {
        if (!io.writeSysfs(path, value, error)) {
            std::fprintf(stderr, "zel_bench_sysfs: %s\n", error.c_str());
            return 1;
        }
    }
    return 0;
}
